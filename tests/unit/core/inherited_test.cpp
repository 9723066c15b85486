// A forked child that only exits: what it has inherited stays the parent's.
#include <gmock/gmock.h>

#include <fstream>

#include "in_child.h"
#include "writing_test.h"

namespace {

// One more than each pool holds, so that one of each kind is from the heap.
constexpr int kResults = 6;

std::vector<Result> queryTwiceEach(const Handle &handle) {
  std::vector<Result> results;
  for (int i = 0; i < kResults; ++i) {
    const char *columns[] = {"value"};
    ResultSetInfo *rows = nullptr;
    EXPECT_EQ(orv_db_query(handle.get(), "t", columns, 1, nullptr, nullptr, 0, "value", &rows), 0U);
    results.emplace_back(rows);
    EXPECT_EQ(rawQuery(handle, "SELECT value FROM t ORDER BY value", &rows), 0U);
    results.emplace_back(rows);
  }
  return results;
}

void readRows(ResultSetInfo *rows, int from, int to) {
  for (int row = from; row <= to; ++row) {
    EXPECT_EQ(orv_db_result_step(rows), ORV_DB_ROW);
    int value = 0;
    EXPECT_EQ(orv_db_result_column_int(rows, 0, &value), 0U);
    EXPECT_EQ(value, row);
  }
}

// Reads every result in part, forks, and goes on as if there had been no child. Prints its connection's cipher.
CHILD_PROGRAM(OutlivesAChildThatOnlyExits) {
  const Handle handle = openHandle(arguments.at(0));
  std::vector<Result> results = queryTwiceEach(handle);
  for (const Result &rows : results)
    readRows(rows.get(), 1, 1);
  const std::string connection = rawValue(handle, "SELECT CONNECTION_ID()");

  const pid_t child = startChild([]() -> int { exit(0); });
  EXPECT_EQ(waitFor(child), exited(0));

  for (const Result &rows : results) {
    readRows(rows.get(), 2, 3);
    EXPECT_EQ(orv_db_result_step(rows.get()), ORV_DB_DONE);
  }
  results.clear();
  EXPECT_EQ(insertRow(handle, "u", 1), 0) << orv_db_get_error_str();
  EXPECT_EQ(rawValue(handle, "SELECT CONNECTION_ID()"), connection);
  std::cout << rawValue(handle,
                        "SELECT VARIABLE_VALUE FROM information_schema.SESSION_STATUS "
                        "WHERE VARIABLE_NAME = 'SSL_CIPHER'")
            << std::flush;
  return 0;
}

class InheritedConnection : public DatabaseTest {
 protected:
  InheritedConnection() {
    for (const char *table : {"t", "u"})
      createTable(admin(), table);
    admin().query("INSERT INTO t VALUES (1, 1), (2, 2), (3, 3)");
  }

  // Gives what the program has printed.
  std::string outliveAChild() {
    ChildProgram parent(OutlivesAChildThatOnlyExits, {db()});
    EXPECT_EQ(parent.wait(), exited(0)) << parent.output();
    EXPECT_EQ(admin().value("SELECT COUNT(*) FROM u"), "1");
    return parent.output();
  }
};

}  // namespace

TEST_F(InheritedConnection, SurvivesAChildThatOnlyExits) { EXPECT_EQ(outliveAChild(), ""); }

TEST_F(InheritedConnection, SurvivesAChildThatOnlyExitsOverTlsToo) {
  std::ofstream("/etc/my.cnf") << "[client]\nssl-ca=" << server().certificate << '\n';
  EXPECT_THAT(outliveAChild(), testing::StartsWith("TLS_"));
}

// What happens when memory runs out.
#include <new>

#include "child_connection.h"
#include "content/content_values.h"
#include "failing_allocation.h"
#include "support/system_log.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

class OutOfMemory : public TableTest {
 public:
  OutOfMemory() { sql("CREATE TABLE Firmwares (_id INT PRIMARY KEY AUTO_INCREMENT, a INT UNIQUE, b VARCHAR(100))"); }

  // Repeats a write with ever more memory until it is announced. At first it returns 4 and nothing is done; then it is
  // done and returns 0, even if memory does not suffice for the announcement. The handle stays of use throughout.
  template <class Write>
  void writeWithEverMoreMemory(Write write, const std::string &isDone, const PeerRecord &announcement) {
    std::vector<PeerRecord> heard;
    for (int allocations = 0; heard.empty(); ++allocations) {
      ASSERT_LT(allocations, 1000) << "the write is never announced";
      restoreTable();
      unsigned long long affected = 77;
      const int status = withAllocations(allocations, [&] { return write(&affected); });
      expectDoneOrNot(status, affected, admin().value(isDone));
      heard = announced();
      EXPECT_TRUE(allocations > 0 || status == ORV_DB_NO_MEMORY);
      EXPECT_TRUE(heard.empty() || status == ORV_DB_OK);
    }
    EXPECT_THAT(heard, ElementsAre(announcement));
  }

 private:
  void restoreTable() {
    sql("DELETE FROM Firmwares");
    sql("INSERT INTO Firmwares VALUES (1, 1, 'old')");
  }

  void expectDoneOrNot(int status, unsigned long long affected, const std::string &isDone) {
    const bool done = status == ORV_DB_OK;
    EXPECT_EQ(status, done ? ORV_DB_OK : ORV_DB_NO_MEMORY);
    EXPECT_EQ(affected, done ? 1U : 0U);
    EXPECT_EQ(isDone, done ? "1" : "0");
    EXPECT_EQ(orv_db_test_connection(handle()), ORV_DB_OK);
  }
};

// Longer than what a string holds without an allocation.
constexpr char kLongText[] = "a text that is longer than what a string holds without an allocation";

}  // namespace

TEST_F(OutOfMemory, AnInsertReturns4AndDoesNothingOr0AndIsDone) {
  const Content content = Content().with("_id", 5).with("a", 5).with("b", kLongText);
  writeWithEverMoreMemory(
      [&](unsigned long long *affected) { return orv_db_insert(handle(), "Firmwares", content, affected, nullptr); },
      "SELECT COUNT(*) FROM Firmwares WHERE a=5", inserted("Firmwares", 5));
}

TEST_F(OutOfMemory, AnUpdateReturns4AndDoesNothingOr0AndIsDone) {
  const Content content = Content().with("a", 5).with("b", kLongText);
  const _orv_db_param_t param = intParam(1);
  writeWithEverMoreMemory(
      [&](unsigned long long *affected) {
        return orv_db_update(handle(), "Firmwares", content, "_id=?", &param, 1, affected);
      },
      "SELECT COUNT(*) FROM Firmwares WHERE a=5", updated("Firmwares", 1));
}

TEST_F(OutOfMemory, ADeleteReturns4AndDoesNothingOr0AndIsDone) {
  const _orv_db_param_t param = intParam(1);
  writeWithEverMoreMemory(
      [&](unsigned long long *affected) {
        return orv_db_delete(handle(), "Firmwares", "_id=? AND b <> 'a rather long text'", &param, 1, affected);
      },
      "SELECT COUNT(*)=0 FROM Firmwares", deleted("Firmwares"));
}

CHILD_PROGRAM(InsertsWithEverMoreMemoryUntilItIsDone) {
  const Handle handle = connect(arguments);
  const Content content = Content().with("a", 5);
  int status = ORV_DB_NO_MEMORY;
  for (int allocations = 0; status == ORV_DB_NO_MEMORY; ++allocations) {
    status = withAllocations(allocations, [&] { return orv_db_insert(handle.get(), "t", content, nullptr, nullptr); });
  }
  return status;
}

TEST_F(OutOfMemory, AWriteThatIsDoneButCannotBeAnnouncedReturns0AndLogsOneLine) {
  // So long that a copy of the name, which is the first thing an announcement needs, takes memory.
  const std::string longName = std::string(db()) + "_of_a_longer_name";
  sql("CREATE OR REPLACE DATABASE " + longName);
  sql("CREATE TABLE " + longName + ".t (_id INT PRIMARY KEY AUTO_INCREMENT, a INT)");
  ProgramArguments arguments = connectionArguments(*this);
  arguments.at(kDatabaseArgument) = longName;
  SystemLog log;
  EXPECT_EQ(runAs("QZ_content", InsertsWithEverMoreMemoryUntilItIsDone, arguments), exited(0));
  EXPECT_EQ(rows("SELECT a FROM " + longName + ".t"), (std::vector<Row>{{"5"}}));
  EXPECT_THAT(log.texts(), ElementsAre(::testing::MatchesRegex("\\[DBAPI\\] report_change:out of memory, "
                                                               "db_handle=0x[0-9a-f]+,table=t,action=1,rowId=1")));
  EXPECT_THAT(announced(), IsEmpty());
  sql("DROP DATABASE " + longName);
  ASSERT_EQ(orv_db_delete(handle(), "Firmwares", nullptr, nullptr, 0, nullptr), ORV_DB_OK);
  EXPECT_THAT(announced(), ElementsAre(deleted("Firmwares")));
}

TEST(OutOfMemoryContent, GetLetsTheExceptionPass) {
  EXPECT_THROW(withAllocations(0, orv_db_get_content_values), std::bad_alloc);
}

TEST(OutOfMemoryContent, PutLetsTheExceptionPassAndChangesNothing) {
  const Content content = Content().with("a", 1);
  int failures = 0;
  const auto put = [&] { return orv_db_content_put_text(content, "b", kLongText); };
  for (bool stored = false; !stored; ++failures) {
    ASSERT_EQ(static_cast<_orv_db_content_values_t *>(content)->values.size(), 1U);
    try {
      stored = withAllocations(failures, put) == ORV_DB_OK;
    } catch (const std::bad_alloc &) {
    }
  }
  EXPECT_GT(failures, 1);
  EXPECT_EQ(static_cast<_orv_db_content_values_t *>(content)->values.size(), 2U);
}

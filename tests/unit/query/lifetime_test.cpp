// Results and the handle that they came from; results left open at exit.
#include <iostream>

#include "support/child_program.h"
#include "unit/query/query_fixture.h"

namespace {

class Lifetime : public QueryTest {};

const char *const kTwoRows = "(SELECT 1 AS a UNION SELECT 2 ORDER BY a) AS t";

TEST_F(Lifetime, OfARawResultGoesOnWhenItsHandleIsClosed) {
  const Result result = selectAs(Kind::raw, handle(), "a", kTwoRows);
  closeHandle();
  EXPECT_EQ(orv_db_result_row_count(result.get()), 2);
  for (const char *expected : {"1", "2"}) {
    ASSERT_EQ(orv_db_result_step(result.get()), 9U);
    EXPECT_EQ(textOf(result.get()), expected);
  }
  EXPECT_EQ(orv_db_result_reset(result.get()), 0U);
  ASSERT_EQ(orv_db_result_step(result.get()), 9U);
  EXPECT_STREQ(orv_db_result_column_name(result.get(), 0), "a");
}

TEST_F(Lifetime, OfARawResultGoesOnWhenItsHandleReconnects) {
  const Result result = selectAs(Kind::raw, handle(), "a", kTwoRows);
  killConnections();
  ASSERT_EQ(orv_db_test_connection(handle()), 0);
  ASSERT_EQ(orv_db_result_step(result.get()), 9U);
  EXPECT_EQ(intOf(result.get()), 1);
}

// One from the pool and one from the heap.
TEST_F(Lifetime, OfStatementResultsMayEndAfterTheirHandleWasClosed) {
  std::vector<Result> results;
  while (results.size() < 6)
    results.push_back(selectAs(Kind::statement, handle(), "a", kTwoRows));
  for (const Result &result : results)
    ASSERT_EQ(orv_db_result_step(result.get()), 9U);
  closeHandle();
  ResultSetInfo *slot = results.front().get();
  results.clear();
  EXPECT_EQ(slot->m_poolSlot, 255);
  EXPECT_EQ(slot->rowCnt(), -1);
}

TEST_F(Lifetime, OfAStatementResultOutlastsALossOfTheConnection) {
  const Result result = selectAs(Kind::statement, handle(), "a", kTwoRows);
  killConnections();
  for (const char *expected : {"1", "2"}) {
    ASSERT_EQ(orv_db_result_step(result.get()), 9U);
    EXPECT_EQ(textOf(result.get()), expected);
  }
}

// The client library gives the statements of a connection up when it makes a new one.
TEST_F(Lifetime, OfAStatementResultEndsWhenItsHandleReconnects) {
  const Result result = selectAs(Kind::statement, handle(), "a", kTwoRows);
  ASSERT_EQ(orv_db_result_step(result.get()), 9U);
  ASSERT_EQ(textOf(result.get()), "1");
  killConnections();
  ASSERT_EQ(orv_db_test_connection(handle()), 0);
  EXPECT_EQ(textOf(result.get()), "") << "it has to be read before";
  EXPECT_EQ(raw("DO 1").status, 0U);
}

_orv_db_handle_t *openIn(const std::string &db) {
  const DatabaseServer server = databaseServer();
  return orv_db_open(server.host.c_str(), server.user.c_str(), server.password.c_str(), db.c_str(), server.port);
}

int closedStatements(_orv_db_handle_t *handle) {
  constexpr char kText[] = "SHOW SESSION STATUS LIKE 'Com_stmt_close'";
  MYSQL *connection = &handle->mysql;
  if (mysql_real_query(connection, kText, sizeof kText - 1) != 0) return -1;
  MYSQL_RES *rows = mysql_store_result(connection);
  const int count = std::stoi(mysql_fetch_row(rows)[1]);
  mysql_free_result(rows);
  return count;
}

// Made when the first pool has not been, so that it is destroyed when the pools have been emptied.
struct LooksBackAtExit {
  ~LooksBackAtExit() {
    if (handle != nullptr) std::cout << closedStatements(handle) << " closed at exit" << std::endl;
  }
  _orv_db_handle_t *handle = nullptr;
} s_looksBack __attribute__((init_priority(102)));

CHILD_PROGRAM(LeavesResultsOpen) {
  s_looksBack.handle = openIn(arguments.at(0));
  for (int i = 0; i < 5; ++i) {
    orv_db_result_step(runRaw(s_looksBack.handle, "SELECT 1").rows.release());
    orv_db_result_step(runSelect(s_looksBack.handle, {kTwoRows}).rows.release());
  }
  std::cout << closedStatements(s_looksBack.handle) << " closed before" << std::endl;
  return 0;
}

TEST_F(Lifetime, OfResultsInThePoolsEndsWithTheProcess) {
  ChildProgram child(LeavesResultsOpen, {db()});
  EXPECT_EQ(child.wait(), exited(0)) << child.output();
  EXPECT_EQ(child.output(), "0 closed before\n5 closed at exit\n");
}

}  // namespace

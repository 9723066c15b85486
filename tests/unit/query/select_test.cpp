// orv_db_query().
#include "unit/query/query_fixture.h"

namespace {

class Query : public QueryTest {
 protected:
  Query() {
    admin().query("CREATE TABLE t (id INT, b TEXT)");
    admin().query("INSERT INTO t VALUES (1, 'one'), (2, 'two'), (3, 'three')");
  }

  // A view on the statements that the server runs, as a table of the three columns a, b and id.
  void createViewOfStatements() {
    admin().query("CREATE VIEW statements AS SELECT info AS a, 1 AS b, id FROM information_schema.processlist");
  }
  int connectionId() const { return static_cast<int>(mysql_thread_id(&handle()->mysql)); }

  // A failure leaves an empty result, this text, and no statement open.
  void expectFailure(const Select &select, unsigned int status, const std::string &text, int closedStatements) {
    const int closedBefore = sessionCount("Com_stmt_close");
    const QueryAnswer answer = query(select);
    EXPECT_EQ(answer.status, status);
    EXPECT_EQ(orv_db_get_error_str(), text);
    EXPECT_EQ(answer.rows, nullptr);
    EXPECT_EQ(sessionCount("Com_stmt_close"), closedBefore + closedStatements);
  }
};

ResultSetInfo *const kNoResult = reinterpret_cast<ResultSetInfo *>(0x10);

TEST_F(Query, GivesTheRowsOfATable) {
  const QueryAnswer answer = query({"t", {"id", "b"}, "id>?", {intParam(1)}, "id DESC"});
  ASSERT_EQ(answer.status, 0U);
  EXPECT_EQ(answer.rows->m_kind, 1U);
  EXPECT_EQ(orv_db_result_row_count(answer.rows.get()), 2);
  ASSERT_EQ(orv_db_result_step(answer.rows.get()), 9U);
  EXPECT_EQ(intOf(answer.rows.get(), 0), 3);
  EXPECT_EQ(textOf(answer.rows.get(), 1), "three");
  ASSERT_EQ(orv_db_result_step(answer.rows.get()), 9U);
  EXPECT_EQ(textOf(answer.rows.get(), 1), "two");
  EXPECT_EQ(orv_db_result_step(answer.rows.get()), 10U);
}

TEST_F(Query, RunsExactlyTheTextThatItsPartsMake) {
  createViewOfStatements();
  const QueryAnswer answer = query({"statements", {"a", "b"}, "id=?", {intParam(connectionId())}, "b DESC"});
  ASSERT_EQ(orv_db_result_step(answer.rows.get()), 9U);
  EXPECT_EQ(textOf(answer.rows.get()), "SELECT a,b FROM statements WHERE id=? ORDER BY b DESC");
}

TEST_F(Query, SelectsAllColumnsWhenNoneAreCounted) {
  createViewOfStatements();
  const char *columns[] = {"a"};
  ResultSetInfo *result = nullptr;
  ASSERT_EQ(orv_db_query(handle(), "statements", columns, 0, nullptr, nullptr, 0, nullptr, &result), 0U);
  const Result rows(result);
  ASSERT_EQ(orv_db_result_column_count(result), 3);
  do
    ASSERT_EQ(orv_db_result_step(result), 9U);
  while (intOf(result, 2) != connectionId());
  EXPECT_EQ(textOf(result), "SELECT * FROM statements");
}

TEST_F(Query, SelectsAllColumnsWithoutAList) {
  ResultSetInfo *result = nullptr;
  ASSERT_EQ(orv_db_query(handle(), "t", nullptr, 2, nullptr, nullptr, 0, nullptr, &result), 0U);
  const Result rows(result);
  EXPECT_EQ(orv_db_result_column_count(result), 2);
  EXPECT_EQ(orv_db_result_row_count(result), 3);
}

TEST_F(Query, ThatMatchesNoRowGivesAnEmptyResult) {
  const QueryAnswer answer = query({"t", {"id"}, "id=?", {intParam(99)}});
  EXPECT_EQ(answer.status, 0U);
  ASSERT_NE(answer.rows, nullptr);
  EXPECT_EQ(orv_db_result_row_count(answer.rows.get()), 0);
  EXPECT_EQ(orv_db_result_step(answer.rows.get()), 10U);
}

TEST_F(Query, WithoutHandleTableOrResultIsAnInvalidArgument) {
  ResultSetInfo *result = kNoResult;
  const auto expectRefusal = [&](_orv_db_handle_t *handle, const char *table, ResultSetInfo **out) {
    ASSERT_EQ(raw("nonsense").status, 1U);
    EXPECT_EQ(orv_db_query(handle, table, nullptr, 0, nullptr, nullptr, 0, nullptr, out), 3U);
    EXPECT_STREQ(orv_db_get_error_str(), "");
    EXPECT_EQ(result, kNoResult) << "nothing is looked at before all three are there";
  };
  expectRefusal(nullptr, "t", &result);
  expectRefusal(handle(), nullptr, &result);
  expectRefusal(handle(), "t", nullptr);
}

TEST_F(Query, ThatCannotBePreparedFailsWithTheServersText) {
  expectFailure({"missing"}, 1, "Table '" + std::string(db()) + ".missing' doesn't exist", 0);
}

TEST_F(Query, SetsTheResultToNullOnFailure) {
  ResultSetInfo *result = kNoResult;
  EXPECT_EQ(orv_db_query(handle(), "missing", nullptr, 0, nullptr, nullptr, 0, nullptr, &result), 1U);
  EXPECT_EQ(result, nullptr);
}

TEST_F(Query, WithAWrongNumberOfParametersIsAnInvalidArgumentWithoutText) {
  const char *where = "id IN (?, ?, ?)";
  expectFailure({"t", {}, where, {intParam(1), intParam(2)}}, 3, "", 1);
  expectFailure({"t", {}, where, {intParam(1), intParam(2), intParam(3), intParam(4)}}, 3, "", 1);
  expectFailure({"t", {}, where}, 3, "", 1);
  expectFailure({"t", {}, nullptr, {intParam(1)}}, 3, "", 1);
}

TEST_F(Query, WithParametersCountedButNotGivenFails) {
  ResultSetInfo *result = kNoResult;
  EXPECT_EQ(orv_db_query(handle(), "t", nullptr, 0, "id=?", nullptr, 1, nullptr, &result), 1U);
  EXPECT_EQ(result, nullptr);
  EXPECT_STREQ(orv_db_get_error_str(), "No data supplied for parameters in prepared statement");
}

TEST_F(Query, ThatFailsToExecuteIsClosedAndLeavesItsText) {
  expectFailure({"t", {}, "(SELECT id FROM t)=?", {intParam(1)}}, 1, "Subquery returns more than 1 row", 1);
}

TEST_F(Query, ThatYieldsNoRowsAtAllIsOutOfMemory) {
  expectFailure({"t", {"id"}, "id=1 INTO @id"}, 4, "", 1);
  EXPECT_EQ(value("SELECT @id"), "1");
}

TEST_F(Query, IsRefusedByTheServerAtANullColumnName) {
  const std::string head =
      "You have an error in your SQL syntax; check the manual that corresponds to your MariaDB server version for the "
      "right syntax to use near ";
  for (const std::vector<const char *> &columns : {std::vector<const char *>{nullptr, "b"}, {"id", nullptr}}) {
    const QueryAnswer answer = query({"t", columns});
    EXPECT_EQ(answer.status, 1U);
    EXPECT_EQ(answer.rows, nullptr);
    EXPECT_EQ(orv_db_get_error_str(), head.substr(0, 127));
  }
}

TEST_F(Query, ClearsTheTextOfAnEarlierFailure) {
  ASSERT_EQ(query({"missing"}).status, 1U);
  ASSERT_STRNE(orv_db_get_error_str(), "");
  EXPECT_EQ(query({"t"}).status, 0U);
  EXPECT_STREQ(orv_db_get_error_str(), "");
}

TEST_F(Query, ClosesItsStatementWhenTheResultIsFreed) {
  QueryAnswer answer = query({"t"});
  EXPECT_EQ(sessionCount("Com_stmt_close"), 0);
  answer.rows.reset();
  EXPECT_EQ(sessionCount("Com_stmt_close"), 1);
}

TEST_F(Query, LeavesTheHandleUsableAfterEveryFailure) {
  query({"missing"});
  query({"t", {}, "id=?"});
  query({"t", {}, "(SELECT id FROM t)=1"});
  query({"t", {"id"}, "id=1 INTO @id"});
  EXPECT_EQ(orv_db_result_row_count(query({"t"}).rows.get()), 3);
}

}  // namespace

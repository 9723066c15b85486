// orv_db_raw_query().
#include "unit/query/page_end.h"
#include "unit/query/query_fixture.h"

namespace {

class RawQuery : public QueryTest {
 protected:
  RawQuery() { admin().query("CREATE TABLE t (a INT PRIMARY KEY)"); }

  // Fails with this message.
  QueryAnswer signal(const std::string &message) {
    return raw("SIGNAL SQLSTATE '45000' SET MESSAGE_TEXT = '" + message + "'");
  }
};

ResultSetInfo *const kNoResult = reinterpret_cast<ResultSetInfo *>(0x10);
const char *const kSelectOne = "SELECT 1";

TEST_F(RawQuery, GivesTheRowsOfTheStatement) {
  const QueryAnswer answer = raw("SELECT 1 AS one, 'two' AS two UNION SELECT 3, NULL");
  ASSERT_EQ(answer.status, 0U);
  EXPECT_EQ(answer.rows->m_kind, 0U);
  EXPECT_EQ(orv_db_result_column_count(answer.rows.get()), 2);
  EXPECT_EQ(orv_db_result_row_count(answer.rows.get()), 2);
  ASSERT_EQ(orv_db_result_step(answer.rows.get()), 9U);
  EXPECT_EQ(textOf(answer.rows.get(), 1), "two");
}

TEST_F(RawQuery, WithoutHandleTextOrLengthIsAnInvalidArgument) {
  const auto expectRefusal = [&](_orv_db_handle_t *handle, const char *sql, unsigned long length) {
    ASSERT_EQ(signal("earlier").status, 1U);
    ResultSetInfo *result = kNoResult;
    EXPECT_EQ(orv_db_raw_query(handle, sql, length, &result), 3U);
    EXPECT_EQ(result, nullptr);
    EXPECT_STREQ(orv_db_get_error_str(), "");
    EXPECT_EQ(orv_db_raw_query(handle, sql, length, nullptr), 3U);
  };
  expectRefusal(nullptr, kSelectOne, 8);
  expectRefusal(handle(), nullptr, 8);
  expectRefusal(handle(), kSelectOne, 0);
}

TEST_F(RawQuery, RunsWithoutAPlaceForTheRows) {
  EXPECT_EQ(orv_db_raw_query(handle(), kSelectOne, 8, nullptr), 0U);
  EXPECT_EQ(orv_db_raw_query(handle(), "DO 1", 4, nullptr), 0U);
  EXPECT_EQ(orv_db_raw_query(handle(), "nonsense", 8, nullptr), 1U);
  EXPECT_EQ(raw(kSelectOne).status, 0U);
}

TEST_F(RawQuery, TakesAsManyBytesAsCountedAndNeedsNoNul) {
  ResultSetInfo *result = nullptr;
  ASSERT_EQ(orv_db_raw_query(handle(), "SELECT 12345", 9, &result), 0U);
  const Result rows(result);
  ASSERT_EQ(orv_db_result_step(result), 9U);
  EXPECT_EQ(textOf(result), "12");

  const PageEnd sql("SELECT 'at the end of the page'");
  EXPECT_EQ(orv_db_raw_query(handle(), sql.data(), sql.size(), nullptr), 0U);
}

TEST_F(RawQuery, StatementsWithoutRowsGiveANullResult) {
  for (const char *sql : {"INSERT INTO t VALUES (1)", "UPDATE t SET a = 2", "DELETE FROM t", "CREATE TABLE u (a INT)",
                          "DROP TABLE u", "SET @x = 1", "DO 1", "START TRANSACTION", "COMMIT"}) {
    ResultSetInfo *result = kNoResult;
    EXPECT_EQ(orv_db_raw_query(handle(), sql, std::char_traits<char>::length(sql), &result), 0U) << sql;
    EXPECT_EQ(result, nullptr) << sql;
  }
}

TEST_F(RawQuery, AnyStatementWithRowsGivesThem) {
  for (const char *sql :
       {"SHOW TABLES", "DESCRIBE t", "EXPLAIN SELECT 1", "CHECK TABLE t", "VALUES (1)",
        "INSERT INTO t VALUES (5) RETURNING a", "  /* first */ select 1", "WITH x AS (SELECT 1) SELECT * FROM x"}) {
    const QueryAnswer answer = raw(sql);
    EXPECT_EQ(answer.status, 0U) << sql;
    EXPECT_EQ(orv_db_result_step(answer.rows.get()), 9U) << sql;
  }
}

TEST_F(RawQuery, ThatTheServerRefusesFailsWithItsText) {
  ResultSetInfo *result = kNoResult;
  EXPECT_EQ(orv_db_raw_query(handle(), "SELECT * FROM missing", 21, &result), 1U);
  EXPECT_EQ(result, nullptr);
  EXPECT_EQ(orv_db_get_error_str(), "Table '" + std::string(db()) + ".missing' doesn't exist");
}

TEST_F(RawQuery, OfTwoStatementsIsRefused) {
  EXPECT_EQ(raw("SELECT 1; SELECT 2").status, 1U);
  EXPECT_EQ(raw(kSelectOne).status, 0U);
}

TEST_F(RawQuery, KeepsUpTo127CharactersOfTheText) {
  for (const std::size_t length : {std::size_t{126}, std::size_t{127}, std::size_t{128}, std::size_t{300}}) {
    std::string message(length, '.');
    for (std::size_t i = 0; i < length; ++i)
      message[i] = static_cast<char>('a' + i % 26);
    EXPECT_EQ(signal(message).status, 1U);
    EXPECT_EQ(orv_db_get_error_str(), message.substr(0, 127));
  }
}

TEST_F(RawQuery, ClearsTheTextOfAnEarlierFailure) {
  ASSERT_EQ(signal("earlier").status, 1U);
  ASSERT_STREQ(orv_db_get_error_str(), "earlier");
  EXPECT_EQ(raw("DO 1").status, 0U);
  EXPECT_STREQ(orv_db_get_error_str(), "");
}

TEST_F(RawQuery, ThatViolatesAKeyFailsWithItsText) {
  ASSERT_EQ(raw("INSERT INTO t VALUES (1)").status, 0U);
  EXPECT_EQ(raw("INSERT INTO t VALUES (1)").status, 1U);
  EXPECT_STREQ(orv_db_get_error_str(), "Duplicate entry '1' for key 'PRIMARY'");
  EXPECT_EQ(admin().value("SELECT COUNT(*) FROM t"), "1");
}

TEST_F(RawQuery, ResultsComeFromTheFiveSlotsAndThenFromTheHeap) {
  std::vector<Result> open;
  for (int i = 0; i < 7; ++i)
    open.push_back(raw("SELECT " + std::to_string(i)).rows);
  for (int i = 0; i < 7; ++i) {
    ResultSetInfo *result = open[static_cast<std::size_t>(i)].get();
    EXPECT_EQ(result->m_poolSlot, i < 5 ? i : 255);
    ASSERT_EQ(orv_db_result_step(result), 9U);
    EXPECT_EQ(intOf(result), i) << "each result keeps its own rows";
  }
}

TEST_F(RawQuery, FreedSlotIsEmptyAndTakenByTheNextResult) {
  QueryAnswer first = raw(kSelectOne);
  ResultSetInfo *slot = first.rows.get();
  ASSERT_EQ(orv_db_result_step(slot), 9U);
  first.rows.reset();
  EXPECT_EQ(slot->rowCnt(), -1);
  EXPECT_EQ(slot->colCnt(), 0U);
  EXPECT_EQ(slot->step(), 1U);
  int number = 99;
  EXPECT_EQ(slot->getInt(0, &number), 11U);
  EXPECT_EQ(number, 99);
  const QueryAnswer second = raw("SELECT 2");
  EXPECT_EQ(second.rows.get(), slot);
  EXPECT_EQ(slot->getInt(0, &number), 11U);
}

TEST_F(RawQuery, FailureTakesNoSlot) {
  raw("nonsense");
  raw("DO 1");
  EXPECT_EQ(raw(kSelectOne).rows->m_poolSlot, 0);
}

TEST_F(RawQuery, ProcedureThatReturnsRowsLeavesTheConnectionOutOfStep) {
  admin().query("CREATE PROCEDURE p() SELECT 7 AS seven");
  const QueryAnswer answer = raw("CALL p()");
  EXPECT_EQ(answer.status, 0U);
  ASSERT_EQ(orv_db_result_step(answer.rows.get()), 9U);
  EXPECT_EQ(intOf(answer.rows.get()), 7);
  // What the server has still to say may have come by now: then the client library gives the connection up for a new
  // one.
  const unsigned long connection = handle()->mysql.thread_id;
  if (raw(kSelectOne).status != 0) {
    EXPECT_STREQ(orv_db_get_error_str(), "Commands out of sync; you can't run this command now");
    EXPECT_EQ(query({"t"}).status, 1U);
  } else {
    EXPECT_NE(handle()->mysql.thread_id, connection);
  }
}

TEST_F(RawQuery, ProcedureWithoutRowsLeavesTheConnectionInStep) {
  admin().query("CREATE PROCEDURE p() SET @x = 1");
  EXPECT_EQ(raw("CALL p()").status, 0U);
  EXPECT_EQ(raw(kSelectOne).status, 0U);
}

}  // namespace

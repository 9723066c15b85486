// The result set of a prepared statement, filled by hand.
#include "unit/query/stmt_set_access.h"

#include <errmsg.h>

#include "unit/query/query_fixture.h"

namespace {

using access = stmt_set_test_access;

class StatementSet : public ExecutedStatementTest {
 protected:
  // "1 AS c0, 2 AS c1, ..."; every third is NULL.
  static std::string columns(unsigned int count) {
    std::string list;
    for (unsigned int i = 0; i < count; ++i) {
      if (i != 0) list += ", ";
      list += i % 3 == 2 ? "NULL" : std::to_string(i + 1);
      list += " AS c" + std::to_string(i);
    }
    return list;
  }

  static void expectColumnsRead(ResultSetInfo *set, unsigned int count) {
    ASSERT_EQ(set->colCnt(), count);
    ASSERT_EQ(set->step(), 9U);
    for (unsigned int i = 0; i < count; ++i) {
      SCOPED_TRACE(i);
      int isNull = -1;
      ASSERT_EQ(set->isColNull(i, &isNull), 0U);
      EXPECT_EQ(isNull, i % 3 == 2 ? 1 : 0);
      EXPECT_EQ(intOf(set, i), i % 3 == 2 ? 0 : static_cast<int>(i) + 1);
      EXPECT_EQ(set->colName(i), "c" + std::to_string(i));
    }
  }

  StmtSetInfo set_;
};

TEST_F(StatementSet, OwnsTheStatementOnceItIsFilled) {
  ASSERT_EQ(set_.initialize(execute("SELECT 1")), 0);
  EXPECT_EQ(set_.rowCnt(), 1);
  EXPECT_EQ(sessionCount("Com_stmt_close"), 0);
  set_.free();
  EXPECT_EQ(sessionCount("Com_stmt_close"), 1);
}

TEST_F(StatementSet, LeavesAStatementWithoutRowsOpen) {
  admin().query("CREATE TABLE t (a INT)");
  MYSQL_STMT *stmt = execute("INSERT INTO t VALUES (1)");
  EXPECT_EQ(set_.initialize(stmt), CR_OUT_OF_MEMORY);
  EXPECT_EQ(set_.rowCnt(), -1);
  EXPECT_EQ(set_.colCnt(), 0U);
  set_.free();
  EXPECT_EQ(sessionCount("Com_stmt_close"), 0);
  EXPECT_EQ(mysql_stmt_execute(stmt), 0);
  EXPECT_EQ(admin().value("SELECT COUNT(*) FROM t"), "2");
  EXPECT_EQ(mysql_stmt_close(stmt), 0);
}

TEST_F(StatementSet, IsEmptyAndUsableAgainAfterItWasFreed) {
  ASSERT_EQ(set_.initialize(execute("SELECT 1 AS a, 2 AS b")), 0);
  ASSERT_EQ(set_.step(), 9U);
  set_.free();
  EXPECT_EQ(set_.rowCnt(), -1);
  EXPECT_EQ(set_.colCnt(), 0U);
  EXPECT_EQ(set_.step(), 1U);
  EXPECT_EQ(set_.colName(0), nullptr);
  int number = 99;
  EXPECT_EQ(set_.getInt(0, &number), 11U);
  ASSERT_EQ(set_.initialize(execute("SELECT 5 AS c")), 0);
  EXPECT_EQ(set_.getInt(0, &number), 11U);
  ASSERT_EQ(set_.step(), 9U);
  EXPECT_EQ(intOf(&set_), 5);
}

TEST_F(StatementSet, BindsEveryColumnToTheScratchWithTheColumnsOwnType) {
  admin().query("CREATE TABLE t (a INT, b TEXT, c DATETIME)");
  ASSERT_EQ(set_.initialize(execute("SELECT * FROM t")), 0);
  const enum_field_types types[] = {MYSQL_TYPE_LONG, MYSQL_TYPE_BLOB, MYSQL_TYPE_DATETIME};
  for (unsigned int i = 0; i < 3; ++i) {
    const MYSQL_BIND &bind = access::binds(set_)[i];
    EXPECT_EQ(bind.buffer, access::scratch(set_));
    EXPECT_EQ(bind.buffer_length, 16U);
    EXPECT_EQ(bind.buffer_type, types[i]);
  }
}

TEST_F(StatementSet, Of32ColumnsNeedsNoHeap) {
  ASSERT_EQ(set_.initialize(execute("SELECT " + columns(32))), 0);
  EXPECT_TRUE(access::usesInlineStorage(set_));
  expectColumnsRead(&set_, 32);
}

TEST_F(StatementSet, Of33ColumnsUsesHeapArraysUntilItIsFreed) {
  ASSERT_EQ(set_.initialize(execute("SELECT " + columns(33))), 0);
  EXPECT_FALSE(access::usesInlineStorage(set_));
  expectColumnsRead(&set_, 33);
  set_.free();
  EXPECT_TRUE(access::usesInlineStorage(set_));
  ASSERT_EQ(set_.initialize(execute("SELECT " + columns(2))), 0);
  EXPECT_TRUE(access::usesInlineStorage(set_));
  expectColumnsRead(&set_, 2);
}

TEST_F(StatementSet, HasZeroedInlineStorageAfterItWasFreed) {
  ASSERT_EQ(set_.initialize(execute("SELECT " + columns(32))), 0);
  ASSERT_EQ(set_.step(), 9U);
  EXPECT_FALSE(access::isZeroed(set_));
  set_.free();
  EXPECT_TRUE(access::isZeroed(set_));
}

TEST_F(StatementSet, Of100ColumnsIsReadThroughQuery) {
  const std::string table = "(SELECT " + columns(100) + ") AS t";
  const QueryAnswer answer = query({table.c_str()});
  ASSERT_EQ(answer.status, 0U);
  expectColumnsRead(answer.rows.get(), 100);
}

TEST_F(StatementSet, TakesTheFiveSlotsAndThenTheHeap) {
  std::vector<Result> open;
  for (int i = 0; i < 7; ++i) {
    const std::string table = "(SELECT " + std::to_string(i) + " AS a) AS t";
    open.push_back(query({table.c_str()}).rows);
  }
  for (int i = 0; i < 7; ++i) {
    ResultSetInfo *result = open[static_cast<std::size_t>(i)].get();
    EXPECT_EQ(result->m_poolSlot, i < 5 ? i : 255);
    ASSERT_EQ(orv_db_result_step(result), 9U);
    EXPECT_EQ(intOf(result), i) << "each result keeps its own rows";
  }
  open.clear();
  EXPECT_EQ(sessionCount("Com_stmt_close"), 7);
}

TEST_F(StatementSet, GivesItsSlotBackWhenAQueryFailsBehindIt) {
  EXPECT_EQ(query({"(SELECT 1 AS a) AS t", {"a"}, "a=1 INTO @a"}).status, 4U);
  EXPECT_EQ(query({"(SELECT 1 AS a) AS t"}).rows->m_poolSlot, 0);
}

TEST_F(StatementSet, SecondReleaseOfASlotClosesNothing) {
  ResultSetInfo *first = query({"(SELECT 1 AS a) AS t"}).rows.release();
  const QueryAnswer second = query({"(SELECT 2 AS a) AS t"});
  orv_db_free_result(first);
  orv_db_free_result(first);
  EXPECT_EQ(sessionCount("Com_stmt_close"), 1);
  ASSERT_EQ(orv_db_result_step(second.rows.get()), 9U);
  EXPECT_EQ(intOf(second.rows.get()), 2);
}

}  // namespace

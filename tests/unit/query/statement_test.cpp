// The statement runner.
#include "query/statement.h"

#include <errmsg.h>

#include "unit/query/query_fixture.h"

namespace {

class Statement : public QueryTest {
 protected:
  Statement() { admin().query("CREATE TABLE t (a INT PRIMARY KEY AUTO_INCREMENT, b INT)"); }

  int run(const std::string &sql, const std::vector<_orv_db_param_t> &params = {}) {
    return run_statement(handle(), sql.c_str(), params.data(), static_cast<unsigned int>(params.size()), &stmt_);
  }

  MYSQL_STMT *stmt_ = reinterpret_cast<MYSQL_STMT *>(this);  // anything but null
};

const char *const kThreePlaceholders = "INSERT INTO t VALUES (?, ? + ?)";

TEST_F(Statement, IsHandedOutOpenAndExecuted) {
  const std::vector<_orv_db_param_t> params{intParam(5), intParam(6)};  // bound as long as the statement is executed
  ASSERT_EQ(run("INSERT INTO t (b) VALUES (?), (?)", params), 0);
  const executed_statement executed(handle(), stmt_);
  EXPECT_EQ(mysql_stmt_affected_rows(stmt_), 2U);
  EXPECT_EQ(mysql_stmt_insert_id(stmt_), 1U);
  EXPECT_EQ(mysql_stmt_execute(stmt_), 0);
  EXPECT_EQ(admin().value("SELECT COUNT(*) FROM t"), "4");
}

TEST_F(Statement, IsClosedByItsOwner) {
  {
    ASSERT_EQ(run("DO 1"), 0);
    const executed_statement executed(handle(), stmt_);
    EXPECT_EQ(executed.get(), stmt_);
    EXPECT_EQ(sessionCount("Com_stmt_close"), 0);
  }
  EXPECT_EQ(sessionCount("Com_stmt_close"), 1);
}

TEST_F(Statement, IsKeptOpenByAnOwnerThatGivesItAway) {
  {
    ASSERT_EQ(run("DO 1"), 0);
    executed_statement executed(handle(), stmt_);
    executed.disown();
  }
  EXPECT_EQ(sessionCount("Com_stmt_close"), 0);
  EXPECT_EQ(mysql_stmt_close(stmt_), 0);
}

TEST_F(Statement, ThatCannotBePreparedIsNoneAndLeavesTheServersText) {
  EXPECT_EQ(run("SELECT * FROM missing"), 1);
  EXPECT_EQ(stmt_, nullptr);
  EXPECT_EQ(orv_db_get_error_str(), "Table '" + std::string(db()) + ".missing' doesn't exist");
}

TEST_F(Statement, WithTooFewOrTooManyParametersGives2034AndIsClosed) {
  raw("nonsense");
  EXPECT_EQ(run(kThreePlaceholders, {intParam(1), intParam(2)}), CR_INVALID_PARAMETER_NO);
  EXPECT_EQ(stmt_, nullptr);
  EXPECT_STREQ(orv_db_get_error_str(), "");
  EXPECT_EQ(run("DO 1", {intParam(1)}), CR_INVALID_PARAMETER_NO);
  EXPECT_EQ(run(kThreePlaceholders), CR_INVALID_PARAMETER_NO);
  EXPECT_EQ(sessionCount("Com_stmt_close"), 3);
  EXPECT_EQ(admin().value("SELECT COUNT(*) FROM t"), "0");
}

TEST_F(Statement, ThatFailsToExecuteIsClosedAndLeavesItsText) {
  ASSERT_EQ(raw("INSERT INTO t VALUES (7, 7)").status, 0U);
  EXPECT_EQ(run("INSERT INTO t VALUES (?, 1)", {intParam(7)}), 1);
  EXPECT_EQ(stmt_, nullptr);
  EXPECT_STREQ(orv_db_get_error_str(), "Duplicate entry '7' for key 'PRIMARY'");
  EXPECT_EQ(sessionCount("Com_stmt_close"), 1);
}

TEST_F(Statement, WithParametersCountedButNotGivenFailsToExecute) {
  EXPECT_EQ(run_statement(handle(), kThreePlaceholders, nullptr, 3, &stmt_), 1);
  EXPECT_EQ(stmt_, nullptr);
  EXPECT_STREQ(orv_db_get_error_str(), "No data supplied for parameters in prepared statement");
  EXPECT_EQ(sessionCount("Com_stmt_close"), 1);
}

TEST_F(Statement, ClearsTheErrorTextAtItsStart) {
  ASSERT_EQ(raw("nonsense").status, 1U);
  ASSERT_STRNE(orv_db_get_error_str(), "");
  ASSERT_EQ(run("DO 1"), 0);
  const executed_statement executed(handle(), stmt_);
  EXPECT_STREQ(orv_db_get_error_str(), "");
}

TEST_F(Statement, LeavesTheHandlesLockFreeOnEveryPath) {
  const auto isFree = [this] {
    const bool taken = handle()->lock.tryLock();
    if (taken) handle()->lock.unlock();
    return taken;
  };
  EXPECT_EQ(run("nonsense"), 1);
  EXPECT_TRUE(isFree());
  EXPECT_EQ(run("DO 1", {intParam(1)}), CR_INVALID_PARAMETER_NO);
  EXPECT_TRUE(isFree());
  EXPECT_EQ(run_statement(handle(), kThreePlaceholders, nullptr, 3, &stmt_), 1);
  EXPECT_TRUE(isFree());
  ASSERT_EQ(run("DO 1"), 0);
  EXPECT_TRUE(isFree());
  { const executed_statement executed(handle(), stmt_); }
  EXPECT_TRUE(isFree());
}

}  // namespace

// The connection breaks while a query runs.
#include <errmsg.h>
#include <sys/socket.h>

#include <future>
#include <stdexcept>

#include "support/wait.h"
#include "unit/query/stmt_set_access.h"

namespace {

// Before any row has been sent.
const char *const kSleeps = "SLEEP(30)";
// Behind the first row, which is too long to wait in the server for the second.
const char *const kSleepsBehindTheFirstRow = "REPEAT('x', 200000) AS a, SLEEP(IF(seq = 1, 0, 30)) AS b";
const char *const kTwoRows = "seq_1_to_2";

class ConnectionLoss : public ExecutedStatementTest {
 public:
  ConnectionLoss()
      : connectionId_(std::to_string(mysql_thread_id(connection()))), socket_(mysql_get_socket(connection())) {}
  // Wakes the server, which does not look at the connection while it sleeps.
  ~ConnectionLoss() override {
    try {
      admin().query("KILL CONNECTION " + connectionId_);
    } catch (const std::runtime_error &) {
      // It has ended by itself.
    }
  }

 protected:
  // Runs a query that falls asleep on the server, and breaks the connection meanwhile.
  template <class Query>
  auto lostDuring(Query runQuery) {
    auto answer = std::async(std::launch::async, runQuery);
    EXPECT_TRUE(waitUntil([this] { return sleepsOnTheServer(); }));
    breakConnection();
    return answer.get();
  }

  bool sleepsOnTheServer() {
    return admin().value("SELECT COUNT(*) FROM information_schema.processlist WHERE state = 'User sleep' AND id = " +
                         connectionId_) == "1";
  }
  void breakConnection() const { shutdown(socket_, SHUT_RDWR); }

 private:
  MYSQL *connection() const { return &handle()->mysql; }

  std::string connectionId_;
  my_socket socket_;
};

// The status comes from what the failed call returned, and that is no error number.
TEST_F(ConnectionLoss, BeforeTheAnswerIsAPlainFailureOfARawQuery) {
  const QueryAnswer answer = lostDuring([this] { return raw(std::string("SELECT ") + kSleeps); });
  EXPECT_EQ(answer.status, 1U);
  EXPECT_EQ(answer.rows, nullptr);
  EXPECT_STREQ(orv_db_get_error_str(), "Lost connection to server during query");
}

// Here it comes from the connection's error number.
TEST_F(ConnectionLoss, WhileRowsAreReadIs13OfARawQuery) {
  const QueryAnswer answer =
      lostDuring([this] { return raw(std::string("SELECT ") + kSleepsBehindTheFirstRow + " FROM " + kTwoRows); });
  EXPECT_EQ(answer.status, 13U);
  EXPECT_EQ(answer.rows, nullptr);
  EXPECT_STREQ(orv_db_get_error_str(), "Lost connection to server during query");
}

TEST_F(ConnectionLoss, BeforeTheAnswerIsAPlainFailureOfAQuery) {
  const QueryAnswer answer = lostDuring([this] { return query({"DUAL", {kSleeps}}); });
  EXPECT_EQ(answer.status, 1U);
  EXPECT_EQ(answer.rows, nullptr);
  EXPECT_STREQ(orv_db_get_error_str(), "Lost connection to server during query");
}

TEST_F(ConnectionLoss, WhileRowsAreReadIsAPlainFailureOfAQuery) {
  const QueryAnswer answer = lostDuring([this] { return query({kTwoRows, {kSleepsBehindTheFirstRow}}); });
  EXPECT_EQ(answer.status, 1U);
  EXPECT_EQ(answer.rows, nullptr);
  EXPECT_STREQ(orv_db_get_error_str(), "Lost connection to server during query");
}

TEST_F(ConnectionLoss, WhileASetIsFilledLeavesItEmptyAndTheStatementToItsOwner) {
  MYSQL_STMT *stmt = execute(std::string("SELECT ") + kSleepsBehindTheFirstRow + " FROM " + kTwoRows);
  StmtSetInfo set;
  EXPECT_EQ(lostDuring([&] { return set.initialize(stmt); }), 1);
  EXPECT_EQ(set.rowCnt(), -1);
  EXPECT_EQ(set.colCnt(), 0U);
  EXPECT_TRUE(stmt_set_test_access::usesInlineStorage(set));
  EXPECT_EQ(mysql_stmt_errno(stmt), static_cast<unsigned int>(CR_SERVER_LOST)) << "the statement can still be asked";
  mysql_stmt_close(stmt);
}

TEST_F(ConnectionLoss, BetweenTwoRawQueriesIsRepairedByTheSecond) {
  breakConnection();
  EXPECT_EQ(raw("SELECT 1").status, 0U);
  EXPECT_EQ(raw("SELECT 1").status, 0U);
}

}  // namespace

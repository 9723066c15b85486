// The connection test and the counters of raw queries.
#include "core/last_error.h"
#include "writing_test.h"

namespace {

// A handle whose connection can be killed, with its user gone, so that the client library cannot reconnect.
class UnreachableServer : public DatabaseTest {
 protected:
  UnreachableServer() : user_(std::string(70, 'u') + std::to_string(getpid())) {
    admin().query("CREATE OR REPLACE USER " + account() + " IDENTIFIED BY 'p'");
    admin().query("GRANT ALL ON " + std::string(db()) + ".* TO " + account());
    handle_.reset(orv_db_open(host(), user_.c_str(), "p", db(), port()));
    admin().query("DROP USER " + account());
  }
  void SetUp() override { ASSERT_TRUE(handle_) << orv_db_get_error_str(); }
  std::string account() const { return "'" + user_ + "'@'" + host() + "'"; }

  std::string user_;
  Handle handle_;
};

class TestConnection : public DatabaseTest {};
using TestConnectionWithoutServer = UnreachableServer;

constexpr unsigned long long kAllBits = ~0ULL;

class RawCounters : public DatabaseTest {
 protected:
  RawCounters() : handle_(openHandle(*this)) {
    admin().query("CREATE TABLE t (_id INT AUTO_INCREMENT PRIMARY KEY, value INT)");
  }
  void SetUp() override { ASSERT_TRUE(handle_) << orv_db_get_error_str(); }

  Handle handle_;
};

}  // namespace

TEST_F(TestConnection, Returns1ForANullHandle) {
  setLastError("text");
  EXPECT_EQ(orv_db_test_connection(nullptr), 1);
  EXPECT_STREQ(orv_db_get_error_str(), "text");
}

TEST_F(TestConnection, Returns0WhileTheServerAnswers) {
  const Handle handle = openHandle(*this);
  ASSERT_TRUE(handle) << orv_db_get_error_str();
  setLastError("text");
  EXPECT_EQ(orv_db_test_connection(handle.get()), 0);
  EXPECT_STREQ(orv_db_get_error_str(), "text");
}

TEST_F(TestConnection, ReestablishesALostConnection) {
  const Handle handle = openHandle(*this);
  ASSERT_TRUE(handle) << orv_db_get_error_str();
  const std::vector<unsigned long> before = connectionIds();
  killConnections();
  EXPECT_EQ(orv_db_test_connection(handle.get()), 0);
  const std::vector<unsigned long> after = connectionIds();
  ASSERT_EQ(after.size(), 1U);
  EXPECT_NE(after, before);
}

TEST_F(TestConnectionWithoutServer, Returns13WithTheMessageCutAt127Characters) {
  ASSERT_EQ(orv_db_test_connection(handle_.get()), 0);
  killConnections();
  EXPECT_EQ(orv_db_test_connection(handle_.get()), 13);
  const std::string whole = "Access denied for user " + account() + " (using password: YES)";
  ASSERT_GT(whole.size(), 127U);
  EXPECT_EQ(orv_db_get_error_str(), whole.substr(0, 127));
}

TEST_F(TestConnectionWithoutServer, LetsGoOfTheHandlesLockWhenItFails) {
  killConnections();
  EXPECT_EQ(orv_db_test_connection(handle_.get()), 13);
  EXPECT_EQ(orv_db_test_connection(handle_.get()), 13);
}

TEST_F(RawCounters, Are3ForANullHandle) {
  setLastError("text");
  EXPECT_EQ(orv_db_raw_affected_rows(nullptr), 3U);
  EXPECT_EQ(orv_db_raw_insert_id(nullptr), 3U);
  EXPECT_STREQ(orv_db_get_error_str(), "text");
}

TEST_F(RawCounters, AreThoseOfTheLastStatement) {
  EXPECT_EQ(rawQuery(handle_, "INSERT INTO t VALUES (41, 1), (NULL, 2), (NULL, 3)"), 0U);
  EXPECT_EQ(orv_db_raw_affected_rows(handle_.get()), 3U);
  EXPECT_EQ(orv_db_raw_insert_id(handle_.get()), 42U);
  EXPECT_EQ(rawQuery(handle_, "UPDATE t SET value = 4 WHERE _id < 43"), 0U);
  EXPECT_EQ(orv_db_raw_affected_rows(handle_.get()), 2U);
  EXPECT_EQ(orv_db_raw_insert_id(handle_.get()), 0U);
}

TEST_F(RawCounters, OfRowsHaveAllBitsSetAfterAStatementThatTheServerRefused) {
  EXPECT_EQ(rawQuery(handle_, "INSERT INTO t VALUES (1, 1)"), 0U);
  EXPECT_EQ(orv_db_raw_affected_rows(handle_.get()), 1U);
  EXPECT_EQ(rawQuery(handle_, "this is no statement"), 1U);
  EXPECT_EQ(orv_db_raw_affected_rows(handle_.get()), kAllBits);
}

TEST_F(RawCounters, AreOfTheHandleTheyAreAskedOf) {
  const Handle other = openHandle(*this);
  ASSERT_TRUE(other) << orv_db_get_error_str();
  EXPECT_EQ(rawQuery(handle_, "INSERT INTO t VALUES (7, 1), (8, 1)"), 0U);
  EXPECT_EQ(rawQuery(other, "INSERT INTO t VALUES (NULL, 1)"), 0U);
  EXPECT_EQ(orv_db_raw_affected_rows(handle_.get()), 2U);
  EXPECT_EQ(orv_db_raw_insert_id(other.get()), 9U);
}

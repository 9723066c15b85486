// Closing a connection.
#include "core/change_report.h"
#include "core/connection.h"
#include "writing_test.h"

namespace {

class CloseConnection : public DatabaseTest {
 protected:
  CloseConnection() : handle_(openHandle(*this).release()) {}
  void SetUp() override { ASSERT_NE(handle_, nullptr) << orv_db_get_error_str(); }

  _orv_db_handle_t *handle_;
};

}  // namespace

TEST_F(CloseConnection, IgnoresNull) {
  orv_db_close(nullptr);
  EXPECT_EQ(s_mapConnInfo->size(), 1U);
  orv_db_close(handle_);
}

TEST_F(CloseConnection, EndsTheConnectionAndItsRegistration) {
  ASSERT_EQ(connectionIds().size(), 1U);
  orv_db_close(handle_);
  EXPECT_TRUE(s_mapConnInfo->empty());
  EXPECT_TRUE(waitUntil([&] { return connectionIds().empty(); }));
}

TEST_F(CloseConnection, LeavesOtherHandlesAlone) {
  const Handle other = openHandle(*this);
  ASSERT_TRUE(other) << orv_db_get_error_str();
  orv_db_close(handle_);
  EXPECT_EQ(s_mapConnInfo->count(&other->mysql), 1U);
  EXPECT_EQ(orv_db_test_connection(other.get()), 0);
}

// So it is: an open that gets the address empties the entry.
TEST_F(CloseConnection, LeavesThePendingTablesBehind) {
  (*s_mapPendingTables)[handle_].insert("t");
  orv_db_close(handle_);
  ASSERT_EQ(s_mapPendingTables->count(handle_), 1U);
  EXPECT_EQ(s_mapPendingTables->at(handle_), table_set{"t"});
}

TEST_F(CloseConnection, DoesNothingToAHandleThatIsNotRegistered) {
  const ConnectionInfo info = s_mapConnInfo->at(&handle_->mysql);
  s_mapConnInfo->clear();
  orv_db_close(handle_);
  // Neither closed nor freed.
  EXPECT_EQ(orv_db_test_connection(handle_), 0);
  EXPECT_EQ(connectionIds().size(), 1U);
  s_mapConnInfo->emplace(&handle_->mysql, info);
  orv_db_close(handle_);
  EXPECT_TRUE(waitUntil([&] { return connectionIds().empty(); }));
}

TEST_F(CloseConnection, FindsNothingTheSecondTime) {
  orv_db_close(handle_);
  orv_db_close(handle_);
  EXPECT_TRUE(s_mapConnInfo->empty());
  const Handle next = openHandle(*this);
  ASSERT_TRUE(next) << orv_db_get_error_str();
  EXPECT_EQ(orv_db_test_connection(next.get()), 0);
}

TEST_F(CloseConnection, DropsThePendingTablesTheSecondTime) {
  (*s_mapPendingTables)[handle_].insert("t");
  orv_db_close(handle_);
  orv_db_close(handle_);
  EXPECT_EQ(s_mapPendingTables->count(handle_), 0U);
}

TEST_F(CloseConnection, DoesNotWaitForTheHandlesLock) {
  handle_->lock.lock();
  orv_db_close(handle_);
  EXPECT_TRUE(waitUntil([&] { return connectionIds().empty(); }));
}

TEST_F(CloseConnection, LeavesATransactionToBeRolledBack) {
  admin().query("CREATE TABLE t (value INT) ENGINE=InnoDB");
  ASSERT_EQ(orv_db_begin_transaction(handle_), 0);
  ASSERT_EQ(orv_db_insert(handle_, "t", valueOf(1).get(), nullptr, nullptr), 0);
  orv_db_close(handle_);
  EXPECT_TRUE(waitUntil([&] { return connectionIds().empty(); }));
  EXPECT_EQ(admin().value("SELECT COUNT(*) FROM t"), "0");
}

// Begin, commit and rollback, and what they announce.
#include "core/transaction.h"

#include <gmock/gmock.h>

#include "core/change_report.h"
#include "core/last_error.h"
#include "writing_test.h"

namespace {

class Transactions : public WritingTest {
 protected:
  void begin() { ASSERT_EQ(orv_db_begin_transaction(handle_.get()), 0); }
  void commit() { ASSERT_EQ(orv_db_commit_transaction(handle_.get()), 0); }
  void rollBack() { ASSERT_EQ(orv_db_rollback_transaction(handle_.get()), 0); }
  void insert(const char *table) { ASSERT_EQ(insertRow(handle_, table, 1), 0) << orv_db_get_error_str(); }

  // Once a row has been written, the client library does not reconnect silently.
  void failACommit() {
    killConnections();
    ASSERT_EQ(orv_db_commit_transaction(handle_.get()), 14);
  }
};

// The server is there, but this handle cannot get back to it.
class LostTransaction : public WritingTest {
 protected:
  LostTransaction() : account_("'left_" + std::to_string(getpid()) + "'@'" + host() + "'") {
    admin().query("CREATE OR REPLACE USER " + account_ + " IDENTIFIED BY 'p'");
    admin().query("GRANT ALL ON " + std::string(db()) + ".* TO " + account_);
    handle_.reset(orv_db_open(host(), ("left_" + std::to_string(getpid())).c_str(), "p", db(), port()));
    admin().query("DROP USER " + account_);
  }
  void lose() {
    killConnections();
    ASSERT_EQ(orv_db_test_connection(handle_.get()), 13);
  }

  std::string account_;
};

}  // namespace

TEST(TransactionOfANullHandle, Is3) {
  setLastError("text");
  EXPECT_EQ(orv_db_begin_transaction(nullptr), 3);
  EXPECT_EQ(orv_db_commit_transaction(nullptr), 3);
  EXPECT_EQ(orv_db_rollback_transaction(nullptr), 3);
  EXPECT_STREQ(orv_db_get_error_str(), "text");
  EXPECT_TRUE(s_mapPendingTables->empty());
}

TEST_F(Transactions, BeginTurnsAutoCommitOff) {
  EXPECT_TRUE(is_autocommit(handle_.get()));
  begin();
  EXPECT_FALSE(is_autocommit(handle_.get()));
  EXPECT_EQ(rawValue(handle_, "SELECT @@autocommit"), "0");
}

TEST_F(Transactions, CommitKeepsTheRowsAndTurnsAutoCommitOn) {
  begin();
  insert("t");
  EXPECT_EQ(rowCount("t"), "0");
  commit();
  EXPECT_EQ(rowCount("t"), "1");
  EXPECT_TRUE(is_autocommit(handle_.get()));
  EXPECT_EQ(rawValue(handle_, "SELECT @@autocommit"), "1");
}

TEST_F(Transactions, RollbackDropsTheRowsAndTurnsAutoCommitOn) {
  begin();
  insert("t");
  EXPECT_EQ(rawValue(handle_, "SELECT COUNT(*) FROM t"), "1");
  rollBack();
  EXPECT_EQ(rawValue(handle_, "SELECT COUNT(*) FROM t"), "0");
  EXPECT_EQ(rowCount("t"), "0");
  EXPECT_TRUE(is_autocommit(handle_.get()));
  EXPECT_EQ(rawValue(handle_, "SELECT @@autocommit"), "1");
}

TEST_F(Transactions, AnnouncesNothingBeforeTheCommit) {
  begin();
  insert("t");
  EXPECT_EQ(updateRows(handle_, "t", 2, nullptr), 0);
  EXPECT_EQ(deleteRows(handle_, "t", nullptr), 0);
  EXPECT_EQ(peer_.remainingRecords(), Records{});
  commit();
  EXPECT_EQ(peer_.remainingRecords(), Records{wholeTable("t")});
}

TEST_F(Transactions, CommitAnnouncesEachTableOnceInAscendingOrder) {
  begin();
  EXPECT_EQ(updateRows(handle_, "u", 2, nullptr), 0);
  insert("t");
  insert("t");
  commit();
  EXPECT_EQ(peer_.remainingRecords(), (Records{wholeTable("t"), wholeTable("u")}));
}

TEST_F(Transactions, TheOrderOfTheTablesIsThatOfTheirBytes) {
  for (const char *table : {"B", "a", "aa", "_"})
    createTable(admin(), table);
  begin();
  for (const char *table : {"aa", "a", "_", "B"})
    insert(table);
  commit();
  EXPECT_EQ(peer_.remainingRecords(), (Records{wholeTable("B"), wholeTable("_"), wholeTable("a"), wholeTable("aa")}));
}

TEST_F(Transactions, ASecondCommitAnnouncesTheTablesOfTheFirstAgain) {
  begin();
  insert("t");
  insert("u");
  commit();
  peer_.waitForRecords(2);
  begin();
  insert("v");
  commit();
  EXPECT_EQ(peer_.remainingRecords(), (Records{wholeTable("t"), wholeTable("u"), wholeTable("v")}));
}

TEST_F(Transactions, ACommitWithoutAnyWriteAnnouncesTheEarlierTablesAgain) {
  begin();
  insert("t");
  commit();
  peer_.waitForRecords(1);
  commit();
  EXPECT_EQ(peer_.remainingRecords(), Records{wholeTable("t")});
}

TEST_F(Transactions, ARollbackAnnouncesNothingAndLeavesTheTablesToTheNextCommit) {
  begin();
  insert("t");
  rollBack();
  EXPECT_EQ(peer_.remainingRecords(), Records{});
  begin();
  commit();
  EXPECT_EQ(peer_.remainingRecords(), Records{wholeTable("t")});
}

TEST_F(Transactions, PendingTablesBelongToTheirHandle) {
  const Handle other = openHandle(*this);
  ASSERT_TRUE(other) << orv_db_get_error_str();
  begin();
  insert("t");
  ASSERT_EQ(orv_db_begin_transaction(other.get()), 0);
  ASSERT_EQ(insertRow(other, "u", 1), 0);
  ASSERT_EQ(orv_db_commit_transaction(other.get()), 0);
  EXPECT_EQ(peer_.remainingRecords(), Records{wholeTable("u")});
  commit();
  EXPECT_EQ(peer_.remainingRecords(), Records{wholeTable("t")});
}

TEST_F(Transactions, AWriteAfterTheCommitIsAnnouncedAtOnceAgain) {
  begin();
  insert("t");
  commit();
  insert("u");
  EXPECT_EQ(peer_.remainingRecords(), (Records{wholeTable("t"), announced("u", ORV_DB_ACTION_INSERT, 1)}));
}

TEST_F(Transactions, BegunByTheServersOwnSettingIsOneToo) {
  ASSERT_EQ(rawQuery(handle_, "SET autocommit = 0"), 0U);
  insert("t");
  EXPECT_EQ(peer_.remainingRecords(), Records{});
  commit();
  EXPECT_EQ(peer_.remainingRecords(), Records{wholeTable("t")});
}

TEST_F(Transactions, BegunByAStatementIsNoneAndItsWritesAreAnnouncedAtOnce) {
  ASSERT_EQ(rawQuery(handle_, "START TRANSACTION"), 0U);
  insert("t");
  EXPECT_EQ(peer_.remainingRecords(), Records{announced("t", ORV_DB_ACTION_INSERT, 1)});
  rollBack();
  EXPECT_EQ(rowCount("t"), "0");
}

TEST_F(Transactions, AFailedCommitReturns14AndAnnouncesNothing) {
  begin();
  insert("t");
  setLastError("text");
  failACommit();
  EXPECT_STREQ(orv_db_get_error_str(), "text");
  EXPECT_EQ(peer_.remainingRecords(), Records{});
  EXPECT_EQ(rowCount("t"), "0");
}

TEST_F(Transactions, AFailedCommitDropsThePendingTables) {
  begin();
  insert("t");
  failACommit();
  EXPECT_EQ(s_mapPendingTables->count(handle_.get()), 0U);
  begin();
  insert("v");
  commit();
  EXPECT_EQ(peer_.remainingRecords(), Records{wholeTable("v")});
}

TEST_F(Transactions, AFailedCommitDropsThoseOfEarlierTransactionsToo) {
  begin();
  insert("t");
  commit();
  peer_.waitForRecords(1);
  begin();
  insert("u");
  failACommit();
  commit();
  EXPECT_EQ(peer_.remainingRecords(), Records{});
}

TEST_F(Transactions, AFailedCommitLeavesTheHandleInAutoCommitMode) {
  begin();
  insert("t");
  failACommit();
  insert("u");
  EXPECT_TRUE(is_autocommit(handle_.get()));
  EXPECT_EQ(rowCount("u"), "1");
  EXPECT_EQ(peer_.remainingRecords(), Records{announced("u", ORV_DB_ACTION_INSERT, 1)});
}

// What an application sees of it: the rows written before are gone, later ones stay although nothing was committed.
TEST_F(Transactions, AConnectionLostInsideIsReplacedSilently) {
  begin();
  insert("t");
  killConnections();
  ASSERT_TRUE(waitUntil([&] { return insertRow(handle_, "u", 1) == 0; }));
  EXPECT_EQ(rowCount("u"), "1");
  EXPECT_EQ(peer_.remainingRecords(), Records{announced("u", ORV_DB_ACTION_INSERT, 1)});
  EXPECT_THAT(orv_db_commit_transaction(handle_.get()), testing::AnyOf(0, 14));
  EXPECT_EQ(rowCount("t"), "0");
  EXPECT_EQ(rowCount("u"), "1");
}

TEST_F(Transactions, TheFirstWriteAfterALossInsideFails) {
  begin();
  insert("t");
  killConnections();
  EXPECT_EQ(insertRow(handle_, "u", 1), 1);
  EXPECT_EQ(insertRow(handle_, "u", 2), 0) << "the control: connected again";
  rollBack();
  EXPECT_EQ(rowCount("t"), "0");
  EXPECT_EQ(rowCount("u"), "1");
}

TEST_F(Transactions, ALossBeforeTheFirstWriteLetsEachWriteStandByItself) {
  begin();
  killConnections();
  insert("t");
  rollBack();
  EXPECT_EQ(rowCount("t"), "1");
}

TEST_F(Transactions, TestingTheConnectionHidesALossInside) {
  begin();
  insert("t");
  killConnections();
  EXPECT_EQ(orv_db_test_connection(handle_.get()), 0);
  insert("u");
  commit();
  EXPECT_EQ(rowCount("t"), "0");
  EXPECT_EQ(rowCount("u"), "1");
}

TEST_F(Transactions, BeginConnectsAgainWhenTheConnectionWasLost) {
  killConnections();
  begin();
  insert("t");
  EXPECT_EQ(rowCount("t"), "0");
  commit();
  EXPECT_EQ(rowCount("t"), "1");
}

TEST_F(LostTransaction, BeginAndRollbackReturn0AllTheSame) {
  lose();
  EXPECT_EQ(orv_db_begin_transaction(handle_.get()), 0);
  EXPECT_EQ(orv_db_rollback_transaction(handle_.get()), 0);
}

TEST_F(LostTransaction, CommitReturns14) {
  ASSERT_EQ(orv_db_begin_transaction(handle_.get()), 0);
  ASSERT_EQ(insertRow(handle_, "t", 1), 0);
  lose();
  EXPECT_EQ(orv_db_commit_transaction(handle_.get()), 14);
  EXPECT_EQ(peer_.remainingRecords(), Records{});
}

TEST_F(LostTransaction, NoFunctionKeepsTheHandlesLock) {
  lose();
  EXPECT_EQ(orv_db_begin_transaction(handle_.get()), 0);
  EXPECT_EQ(orv_db_commit_transaction(handle_.get()), 14);
  EXPECT_EQ(orv_db_rollback_transaction(handle_.get()), 0);
  EXPECT_TRUE(handle_->lock.tryLock());
  handle_->lock.unlock();
}

TEST_F(LostTransaction, TheAutoCommitTestSendsNothing) {
  killConnections();
  EXPECT_TRUE(is_autocommit(handle_.get()));
  EXPECT_EQ(connectionIds().size(), 0U);
  EXPECT_STREQ(mysql_error(&handle_->mysql), "");
}

// What other processes are told of a write, and when nothing can be told.
#include "core/change_report.h"

#include <stdexcept>

#include "child_name.h"
#include "core/connection.h"
#include "support/system_log.h"
#include "writing_test.h"

namespace {

class ChangeReport : public WritingTest {
 protected:
  void unregister() { s_mapConnInfo->erase(&handle_->mysql); }
  void registerAgain() { (*s_mapConnInfo)[&handle_->mysql] = {host(), db()}; }
};

class ChangeReportLog : public DatabaseTest {
 protected:
  ChangeReportLog() { createTable(admin(), "t"); }

  SystemLog log_;
};

std::string address(const void *pointer) {
  char text[32];
  std::snprintf(text, sizeof text, "%p", pointer);
  return text;
}

CHILD_PROGRAM(ReportsWithoutAHandle) {
  report_change(nullptr, "t", 2, 18446744073709551615ULL);
  return 0;
}

// Writes the handle's address.
CHILD_PROGRAM(ReportsForAnUnregisteredHandle) {
  const Handle handle = openHandle(arguments.at(0));
  const ConnectionInfo info = s_mapConnInfo->at(&handle->mysql);
  s_mapConnInfo->clear();
  report_change(handle.get(), "t", 4, 77);
  s_mapConnInfo->emplace(&handle->mysql, info);
  std::cout << handle.get() << std::flush;
  return 0;
}

CHILD_PROGRAM(ReportsForAHandleWithoutADatabase) {
  const Handle handle = openHandle("");
  report_change(handle.get(), "t", 1, 5);
  std::cout << handle.get() << std::flush;
  return 0;
}

CHILD_PROGRAM(InsertsWithoutANotificationServer) {
  const Handle handle = openHandle(arguments.at(0));
  return insertRow(handle, "t", 1);
}

}  // namespace

TEST_F(ChangeReport, OfAnInsertCarriesTheNewRowsId) {
  admin().query("ALTER TABLE t AUTO_INCREMENT = 72623859790382856");  // 0x0102030405060708
  EXPECT_EQ(insertRow(handle_, "t", 1), 0);
  EXPECT_EQ(peer_.remainingRecords(), Records{announced("t", ORV_DB_ACTION_INSERT, 72623859790382856)});
}

TEST_F(ChangeReport, OfAnUpdateCarriesTheFirstMatchingRowsId) {
  admin().query("INSERT INTO t VALUES (3, 1), (5, 2), (6, 2)");
  EXPECT_EQ(updateRows(handle_, "t", 9, "value = 2"), 0);
  EXPECT_EQ(peer_.remainingRecords(), Records{announced("t", ORV_DB_ACTION_UPDATE, 5)});
}

TEST_F(ChangeReport, OfADeleteNamesNoRow) {
  admin().query("INSERT INTO t VALUES (3, 1)");
  EXPECT_EQ(deleteRows(handle_, "t", "_id = 3"), 0);
  EXPECT_EQ(peer_.remainingRecords(), Records{announced("t", ORV_DB_ACTION_DELETE, kNoRow)});
}

TEST_F(ChangeReport, NamesTheDatabaseThatTheHandleWasOpenedFor) {
  const std::string other = std::string(db()) + "_other";
  admin().query("CREATE OR REPLACE DATABASE " + other);
  EXPECT_EQ(rawQuery(handle_, "USE " + other), 0U);
  createTable(admin(), other + ".t");
  EXPECT_EQ(insertRow(handle_, "t", 1), 0);
  EXPECT_EQ(admin().value("SELECT COUNT(*) FROM " + other + ".t"), "1");
  EXPECT_EQ(peer_.remainingRecords(), Records{announced("t", ORV_DB_ACTION_INSERT, 1)});
  admin().query("DROP DATABASE " + other);
}

TEST_F(ChangeReport, IsNotMadeOfChangesByOtherPrograms) {
  admin().query("INSERT INTO t VALUES (1, 1)");
  EXPECT_EQ(rawQuery(handle_, "INSERT INTO t VALUES (2, 1)"), 0U);
  EXPECT_EQ(insertRow(handle_, "u", 1), 0);
  EXPECT_EQ(peer_.remainingRecords(), Records{announced("u", ORV_DB_ACTION_INSERT, 1)});
}

TEST_F(ChangeReport, OfAFailedWriteIsNotMade) {
  EXPECT_EQ(insertRow(handle_, "there_is_no_such_table", 1), 1);
  EXPECT_EQ(insertRow(handle_, "u", 1), 0);
  EXPECT_EQ(peer_.remainingRecords(), Records{announced("u", ORV_DB_ACTION_INSERT, 1)});
}

TEST_F(ChangeReport, OutsideATransactionLeavesThePendingTablesAlone) {
  report_change(handle_.get(), "t", 1, 7);
  EXPECT_EQ(peer_.remainingRecords(), Records{announced("t", ORV_DB_ACTION_INSERT, 7)});
  EXPECT_TRUE(s_mapPendingTables->at(handle_.get()).empty());
}

TEST_F(ChangeReport, InsideATransactionKeepsTheTableAlone) {
  ASSERT_EQ(orv_db_begin_transaction(handle_.get()), 0);
  report_change(handle_.get(), "u", 1, 7);
  report_change(handle_.get(), "t", 2, 8);
  report_change(handle_.get(), "u", 4, 9);
  EXPECT_EQ(s_mapPendingTables->at(handle_.get()), (table_set{"t", "u"}));
  EXPECT_EQ(peer_.remainingRecords(), Records{});
}

TEST_F(ChangeReport, InsideATransactionMakesTheHandlesMissingEntry) {
  ASSERT_EQ(orv_db_begin_transaction(handle_.get()), 0);
  s_mapPendingTables->clear();
  report_change(handle_.get(), "t", 1, 7);
  EXPECT_EQ(s_mapPendingTables->at(handle_.get()), table_set{"t"});
}

TEST_F(ChangeReport, InsideATransactionThrowsForANullTable) {
  ASSERT_EQ(orv_db_begin_transaction(handle_.get()), 0);
  try {
    report_change(handle_.get(), nullptr, 1, 7);
    FAIL() << "nothing was thrown";
  } catch (const std::logic_error &error) {
    EXPECT_STREQ(error.what(), "basic_string::_M_construct null not valid");
  }
  EXPECT_TRUE(s_pConnInfoLock->tryLock());
  s_pConnInfoLock->unlock();
}

TEST_F(ChangeReport, OutsideATransactionSendsNothingForANullTable) {
  report_change(handle_.get(), nullptr, 1, 7);
  report_change(handle_.get(), "t", 1, 8);
  EXPECT_EQ(peer_.remainingRecords(), Records{announced("t", ORV_DB_ACTION_INSERT, 8)});
}

TEST_F(ChangeReport, OfAHandleThatIsNotRegisteredIsNotSent) {
  unregister();
  report_change(handle_.get(), "t", 1, 7);
  registerAgain();
  report_change(handle_.get(), "t", 1, 8);
  EXPECT_EQ(peer_.remainingRecords(), Records{announced("t", ORV_DB_ACTION_INSERT, 8)});
}

TEST_F(ChangeReport, OfACommitOnAHandleThatIsNotRegisteredIsNotSent) {
  ASSERT_EQ(orv_db_begin_transaction(handle_.get()), 0);
  ASSERT_EQ(insertRow(handle_, "t", 1), 0);
  unregister();
  EXPECT_EQ(orv_db_commit_transaction(handle_.get()), 0);
  registerAgain();
  EXPECT_EQ(peer_.remainingRecords(), Records{});
  EXPECT_EQ(orv_db_commit_transaction(handle_.get()), 0);
  EXPECT_EQ(peer_.remainingRecords(), Records{wholeTable("t")});
}

TEST_F(ChangeReport, IsSentWithoutAnyLockHeld) {
  report_change(handle_.get(), "t", 1, 7);
  EXPECT_EQ(peer_.remainingRecords().size(), 1U);
  EXPECT_TRUE(s_pConnInfoLock->tryLock());
  s_pConnInfoLock->unlock();
  EXPECT_TRUE(handle_->lock.tryLock());
  handle_->lock.unlock();
}

TEST_F(ChangeReportLog, HasALineForANullHandle) {
  EXPECT_EQ(runAs("QZ_x", ReportsWithoutAHandle), exited(0));
  EXPECT_EQ(log_.texts(), std::vector<std::string>{"[DBAPI] report_change:db_handle==NULL, db_handle=" +
                                                   address(nullptr) + ",table=t,action=2,rowId=18446744073709551615"});
}

TEST_F(ChangeReportLog, HasALineForAHandleThatIsNotRegistered) {
  ChildProgram child(ReportsForAnUnregisteredHandle, {db()}, named("QZ_x"));
  EXPECT_EQ(child.wait(), exited(0)) << child.output();
  EXPECT_EQ(log_.texts(), std::vector<std::string>{"[DBAPI] report_change:db.empty, db_handle=" + child.output() +
                                                   ",table=t,action=4,rowId=77"});
}

TEST_F(ChangeReportLog, HasALineForAHandleOpenedWithAnEmptyDatabaseName) {
  ChildProgram child(ReportsForAHandleWithoutADatabase, {}, named("QZ_x"));
  EXPECT_EQ(child.wait(), exited(0)) << child.output();
  EXPECT_EQ(log_.texts(), std::vector<std::string>{"[DBAPI] report_change:db.empty, db_handle=" + child.output() +
                                                   ",table=t,action=1,rowId=5"});
}

TEST_F(ChangeReportLog, HasNoLineForAnAnnouncementThatFailed) {
  EXPECT_EQ(runAs("QZ_x", InsertsWithoutANotificationServer, {db()}), exited(0));
  EXPECT_EQ(admin().value("SELECT COUNT(*) FROM t"), "1");
  EXPECT_EQ(log_.texts(), std::vector<std::string>{});
  // The same program's lines do come.
  EXPECT_EQ(runAs("QZ_x", ReportsWithoutAHandle), exited(0));
  EXPECT_EQ(log_.lines().size(), 1U);
}

// An open handle: the connection test, the counters and the transactions when the client library fails.
#include "fault/fault_test.h"

namespace {

using ::testing::ElementsAre;

class ConnectionTest : public HandleTest {};

class Transaction : public AnnouncingTest {
 protected:
  void insertInto(const char *table) {
    const ContentValues content(orv_db_get_content_values());
    ASSERT_EQ(orv_db_content_put_int(content.get(), "a", 1), 0);
    ASSERT_EQ(orv_db_insert(handle(), table, content.get(), nullptr, nullptr), 0);
  }
};

}  // namespace

TEST_F(ConnectionTest, FailureOfPingGives13AndTheMessageUnderTheHandlesLock) {
  client().script.error = "has gone away";
  for (const int result : {1, -1, 2006}) {
    client().script.ping = result;
    client().forgetCalls();
    EXPECT_EQ(orv_db_test_connection(handle()), 13) << result;
    EXPECT_STREQ(errorText(), "has gone away");
    EXPECT_THAT(client().calls(), ElementsAre("lock handle", "mysql_ping", "mysql_error", "unlock handle"));
  }
}

TEST_F(ConnectionTest, FailureOfPingKeeps127CharactersOfTheMessage) {
  const std::string message(300, 'y');
  client().script.ping = 1;
  client().script.error = message.c_str();
  EXPECT_EQ(orv_db_test_connection(handle()), 13);
  EXPECT_EQ(errorText(), std::string(127, 'y'));
}

TEST_F(ConnectionTest, FailureOfPingWithoutAMessageLeavesNoText) {
  leaveErrorText();
  client().script.error = nullptr;
  EXPECT_EQ(orv_db_test_connection(handle()), 13);
  EXPECT_STREQ(errorText(), "");
}

TEST_F(ConnectionTest, SuccessfulPingLeavesTheErrorTextAlone) {
  leaveErrorText();
  client().script.ping = 0;
  EXPECT_EQ(orv_db_test_connection(handle()), 0);
  EXPECT_STREQ(errorText(), "left behind");
}

TEST_F(ConnectionTest, CountersPassTheClientLibrarysErrorValueThroughUnderTheHandlesLock) {
  client().script.affectedRows = kAllBitsSet;
  client().script.insertId = kAllBitsSet;
  EXPECT_EQ(orv_db_raw_affected_rows(handle()), kAllBitsSet);
  EXPECT_EQ(orv_db_raw_insert_id(handle()), kAllBitsSet);
  EXPECT_THAT(client().calls(), ElementsAre("lock handle", "mysql_affected_rows", "unlock handle", "lock handle",
                                            "mysql_insert_id", "unlock handle"));
}

TEST_F(Transaction, BeginTurnsAutocommitOffUnderTheHandlesLock) {
  EXPECT_EQ(orv_db_begin_transaction(handle()), 0);
  EXPECT_THAT(client().calls(), ElementsAre("lock handle", "mysql_autocommit 0", "unlock handle"));
}

TEST_F(Transaction, BeginGives0EvenIfAutocommitStaysOn) {
  client().script.autocommit = 1;
  EXPECT_EQ(orv_db_begin_transaction(handle()), 0);
  insertInto("T");
  EXPECT_THAT(announced(), ElementsAre(change("T", 1, 0)));
}

TEST_F(Transaction, WriteOnlyAddsToThePendingTablesUnderTheRegistrysLock) {
  ASSERT_EQ(orv_db_begin_transaction(handle()), 0);
  insertInto("T");
  EXPECT_THAT(lastCalls(4),
              ElementsAre("unlock handle", "mariadb_get_infov 30", "write-lock registry", "unlock registry"));
  EXPECT_THAT(announced(), ElementsAre());
}

TEST_F(Transaction, CommitTurnsAutocommitOnAgainInTheSameHoldAndAnnouncesFromACopyOfThePendingTables) {
  ASSERT_EQ(orv_db_begin_transaction(handle()), 0);
  insertInto("T");
  client().forgetCalls();
  EXPECT_EQ(orv_db_commit_transaction(handle()), 0);
  EXPECT_THAT(client().calls(), ElementsAre("lock handle", "mysql_commit", "mysql_autocommit 1", "unlock handle",
                                            "write-lock registry", "unlock registry", "mariadb_get_infov 30",
                                            "read-lock registry", "lock handle", "unlock handle", "unlock registry"));
  EXPECT_THAT(announced(), ElementsAre(change("T", 7, 0)));
}

TEST_F(Transaction, FailedCommitGives14AndTurnsAutocommitOnAllTheSame) {
  leaveErrorText();
  client().script.commit = 1;
  ASSERT_EQ(orv_db_begin_transaction(handle()), 0);
  client().forgetCalls();
  EXPECT_EQ(orv_db_commit_transaction(handle()), 14);
  EXPECT_THAT(client().calls(), ElementsAre("lock handle", "mysql_commit", "mysql_autocommit 1", "unlock handle",
                                            "write-lock registry", "unlock registry"));
  EXPECT_STREQ(errorText(), "left behind");
}

TEST_F(Transaction, FailedCommitAnnouncesNothingAndForgetsTheTables) {
  ASSERT_EQ(orv_db_begin_transaction(handle()), 0);
  insertInto("before");
  client().script.commit = 1;
  EXPECT_EQ(orv_db_commit_transaction(handle()), 14);
  EXPECT_THAT(announced(), ElementsAre());

  client().script.commit = 0;
  ASSERT_EQ(orv_db_begin_transaction(handle()), 0);
  insertInto("after");
  EXPECT_EQ(orv_db_commit_transaction(handle()), 0);
  EXPECT_THAT(announced(), ElementsAre(change("after", 7, 0)));
}

TEST_F(Transaction, WritesAfterAFailedCommitAreAnnouncedAtOnce) {
  ASSERT_EQ(orv_db_begin_transaction(handle()), 0);
  client().script.commit = 1;
  EXPECT_EQ(orv_db_commit_transaction(handle()), 14);
  insertInto("T");
  EXPECT_THAT(announced(), ElementsAre(change("T", 1, 0)));
}

TEST_F(Transaction, CommitGives0EvenIfAutocommitStaysOff) {
  ASSERT_EQ(orv_db_begin_transaction(handle()), 0);
  client().script.autocommit = 1;
  EXPECT_EQ(orv_db_commit_transaction(handle()), 0);
}

TEST_F(Transaction, RollbackIgnoresBothResults) {
  ASSERT_EQ(orv_db_begin_transaction(handle()), 0);
  client().script.rollback = 1;
  client().script.autocommit = 1;
  client().forgetCalls();
  EXPECT_EQ(orv_db_rollback_transaction(handle()), 0);
  EXPECT_THAT(client().calls(), ElementsAre("lock handle", "mysql_rollback", "mysql_autocommit 1", "unlock handle"));
}

TEST_F(Transaction, UnknownServerStatusReadsAsAutocommit) {
  ASSERT_EQ(orv_db_begin_transaction(handle()), 0);
  insertInto("known");
  EXPECT_THAT(announced(), ElementsAre());
  client().script.statusIsUnknown = true;
  insertInto("unknown");
  EXPECT_THAT(announced(), ElementsAre(change("unknown", 1, 0)));
}

// Opening and closing connections: everything that can fail on the way, and what the client library is told.
#include "core/change_report.h"
#include "core/connection.h"
#include "fault/fault_test.h"

namespace {

using ::testing::ElementsAre;

constexpr char kConnectCall[] =
    "mysql_real_connect \"database.example.invalid\" \"user\" \"secret\" \"a_database_with_a_long_name\" 3307 null 0";

std::size_t registeredConnections() {
  const read_guard reading(s_pConnInfoLock);
  return s_mapConnInfo->size();
}

std::size_t pendingSets() {
  const read_guard reading(s_pConnInfoLock);
  return s_mapPendingTables->size();
}

class Open : public FaultTest {
 protected:
  // What is set of character sets for a database of this name.
  static Calls charsetOptions(const char *db) {
    client().forgetCalls();
    const Handle handle = openHandle(db);
    Calls found = client().calls("mysql_options 7");
    for (const std::string &call : client().calls("mysql_options 3"))
      found.push_back(call);
    return found;
  }
};

class Close : public FaultTest {};

}  // namespace

TEST_F(Open, SetsTheOptionsInTheirOrderAndConnectsOutsideEveryLock) {
  const Handle handle = openHandle();
  ASSERT_NE(handle, nullptr);
  EXPECT_THAT(client().calls(),
              ElementsAre("lock open", "mysql_init", "unlock open", "mysql_options 20 1", "mysql_options 0 20",
                          "mysql_options 11 20", "mysql_options 12 20", "mysql_options 4 \"/etc/my.cnf\"", kConnectCall,
                          "write-lock registry", "unlock registry"));
}

TEST_F(Open, SetsTheUtf8OptionsOfEventlogdbUnderTheOpenLockAndFirst) {
  const Handle handle = openHandle("eventlogdb");
  ASSERT_NE(handle, nullptr);
  EXPECT_THAT(firstCalls(6), ElementsAre("lock open", "mysql_init", "mysql_options 7 \"utf8\"",
                                         "mysql_options 3 \"SET NAMES utf8\"", "unlock open", "mysql_options 20 1"));
}

TEST_F(Open, SetsTheUtf8OptionsForNoOtherName) {
  EXPECT_EQ(charsetOptions("eventlogdb").size(), 2U);
  for (const char *db : {"EVENTLOGDB", "Eventlogdb", "eventlogdb2", "eventlogd", "event", ""}) {
    EXPECT_THAT(charsetOptions(db), ElementsAre()) << db;
  }
}

TEST_F(Open, IgnoresOptionsThatFail) {
  client().script.options = 1;
  EXPECT_NE(openHandle("eventlogdb"), nullptr);
  EXPECT_EQ(client().count("mysql_options"), 7U);
}

TEST_F(Open, PassesANullUserAndPasswordOn) {
  const Handle handle(orv_db_open("h", nullptr, nullptr, "d", 0));
  EXPECT_THAT(client().calls("mysql_real_connect"), ElementsAre("mysql_real_connect \"h\" null null \"d\" 0 null 0"));
}

TEST_F(Open, ClearsTheErrorTextWhenItSucceeds) {
  client().script.connectFails = true;
  client().script.error = "refused";
  ASSERT_EQ(openHandle(), nullptr);
  ASSERT_STREQ(errorText(), "refused");
  client().script.connectFails = false;
  EXPECT_NE(openHandle(), nullptr);
  EXPECT_STREQ(errorText(), "");
}

TEST_F(Open, FailureOfCallocGivesNullAndItsText) {
  {
    const FailingCall failing("calloc");
    EXPECT_EQ(openHandle(), nullptr);
    EXPECT_TRUE(failing.happened());
  }
  EXPECT_STREQ(errorText(), "calloc failed");
  EXPECT_THAT(client().calls(), ElementsAre());
  EXPECT_NE(openHandle(), nullptr);
}

TEST_F(Open, FailureOfInitGivesNullAndItsTextAndClosesNothing) {
  client().script.initFails = true;
  client().script.error = "not asked for";
  EXPECT_EQ(openHandle(), nullptr);
  EXPECT_STREQ(errorText(), "mysql_init() failed");
  EXPECT_THAT(client().calls(), ElementsAre("lock open", "mysql_init", "unlock open"));
}

TEST_F(Open, SetsTheUtf8OptionsBeforeItLooksAtTheResultOfInit) {
  client().script.initFails = true;
  EXPECT_EQ(openHandle("eventlogdb"), nullptr);
  EXPECT_THAT(client().calls(), ElementsAre("lock open", "mysql_init", "mysql_options 7 \"utf8\"",
                                            "mysql_options 3 \"SET NAMES utf8\"", "unlock open"));
}

TEST_F(Open, FailureOfConnectKeeps127CharactersOfTheMessageAndClosesOnce) {
  const std::string message(300, 'x');
  client().script.connectFails = true;
  client().script.error = message.c_str();
  EXPECT_EQ(openHandle(), nullptr);
  EXPECT_EQ(errorText(), std::string(127, 'x'));
  EXPECT_THAT(lastCalls(3), ElementsAre(kConnectCall, "mysql_error", "mysql_close"));
}

TEST_F(Open, FailureOfConnectWithoutAMessageLeavesNoText) {
  client().script.connectFails = true;
  client().script.error = "an earlier one";
  ASSERT_EQ(openHandle(), nullptr);
  ASSERT_STREQ(errorText(), "an earlier one");
  client().script.error = nullptr;
  EXPECT_EQ(openHandle(), nullptr);
  EXPECT_STREQ(errorText(), "");
}

TEST_F(Open, FailureRegistersNothing) {
  client().script.connectFails = true;
  EXPECT_EQ(openHandle(), nullptr);
  EXPECT_EQ(registeredConnections(), 0U);
  EXPECT_EQ(pendingSets(), 0U);
  client().script.connectFails = false;
  const Handle handle = openHandle();
  EXPECT_EQ(registeredConnections(), 1U);
  EXPECT_EQ(pendingSets(), 1U);
}

TEST_F(Close, TakesTheRegistryLockAlone) {
  openHandle().reset();
  EXPECT_THAT(lastCalls(3), ElementsAre("write-lock registry", "unlock registry", "mysql_close"));
  EXPECT_EQ(registeredConnections(), 0U);
  EXPECT_EQ(pendingSets(), 1U);
}

TEST_F(Close, OfAHandleThatIsClosedAlreadyTouchesNothingButItsPendingTables) {
  _orv_db_handle_t *closed = openHandle().release();
  orv_db_close(closed);
  client().forgetCalls();
  orv_db_close(closed);
  EXPECT_THAT(client().calls(), ElementsAre("write-lock registry", "unlock registry"));
  EXPECT_EQ(pendingSets(), 0U);
}

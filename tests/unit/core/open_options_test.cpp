// The options of a connection: fixed ones, those of one database, those of the options file.
#include <fstream>

#include "core/handle.h"
#include "writing_test.h"

namespace {

class OpenOptions : public DatabaseTest {
 protected:
  Handle openDatabase(const std::string &name) {
    admin().query("CREATE DATABASE IF NOT EXISTS " + name);
    Handle handle = openHandle(name);
    EXPECT_TRUE(handle) << orv_db_get_error_str();
    return handle;
  }
};

unsigned int numberOption(const Handle &handle, mysql_option name) {
  unsigned int value = 0;
  EXPECT_EQ(mysql_get_option(&handle->mysql, name, &value), 0);
  return value;
}

// What the server makes of the texts that it is sent, and in what it answers.
std::string serverCharacterSets(const Handle &handle) {
  return rawValue(handle,
                  "SELECT CONCAT_WS(' ', @@character_set_client, @@character_set_connection, @@character_set_results)");
}

// Just connecting runs no SET, so it is the initial command's.
std::string settingsMade(const Handle &handle) {
  return rawValue(
      handle, "SELECT VARIABLE_VALUE FROM information_schema.SESSION_STATUS WHERE VARIABLE_NAME = 'COM_SET_OPTION'");
}

void writeOptionsFile(const std::string &text) {
  std::ofstream file("/etc/my.cnf");
  file << text << std::flush;
  ASSERT_TRUE(file);
}

}  // namespace

TEST_F(OpenOptions, AreReconnectionAndTimeoutsOf20Seconds) {
  const Handle handle = openHandle(*this);
  ASSERT_TRUE(handle) << orv_db_get_error_str();
  my_bool reconnects = 0;
  EXPECT_EQ(mysql_get_option(&handle->mysql, MYSQL_OPT_RECONNECT, &reconnects), 0);
  EXPECT_EQ(reconnects, 1);
  EXPECT_EQ(numberOption(handle, MYSQL_OPT_CONNECT_TIMEOUT), 20U);
  EXPECT_EQ(numberOption(handle, MYSQL_OPT_READ_TIMEOUT), 20U);
  EXPECT_EQ(numberOption(handle, MYSQL_OPT_WRITE_TIMEOUT), 20U);
}

TEST_F(OpenOptions, SpeakUtf8WithTheDatabaseEventlogdb) {
  const Handle handle = openDatabase("eventlogdb");
  EXPECT_EQ(serverCharacterSets(handle), "utf8mb3 utf8mb3 utf8mb3");
  EXPECT_STREQ(mysql_character_set_name(&handle->mysql), "utf8mb3");
}

TEST_F(OpenOptions, SendTheInitialCommandToTheDatabaseEventlogdb) {
  EXPECT_EQ(settingsMade(openDatabase("eventlogdb")), "1");
}

TEST_F(OpenOptions, SpeakUtf8WithTheDatabaseEventlogdbAfterAReconnectionToo) {
  const Handle handle = openDatabase("eventlogdb");
  const std::string before = rawValue(handle, "SELECT CONNECTION_ID()");
  admin().query("KILL CONNECTION " + before);
  ASSERT_TRUE(waitUntil([&] { return orv_db_test_connection(handle.get()) == 0; }));
  ASSERT_NE(rawValue(handle, "SELECT CONNECTION_ID()"), before);
  EXPECT_EQ(serverCharacterSets(handle), "utf8mb3 utf8mb3 utf8mb3");
}

TEST_F(OpenOptions, HaveNoCharacterSetForThatNameInOtherLetterCase) {
  const Handle handle = openDatabase("Eventlogdb");
  EXPECT_EQ(serverCharacterSets(handle), "utf8mb4 utf8mb4 utf8mb4");
  EXPECT_EQ(settingsMade(handle), "0");
}

TEST_F(OpenOptions, HaveNoCharacterSetForALongerOrShorterName) {
  for (const char *name : {"eventlogdb2", "eventlogd"}) {
    const Handle handle = openDatabase(name);
    EXPECT_EQ(serverCharacterSets(handle), "utf8mb4 utf8mb4 utf8mb4") << name;
    EXPECT_EQ(settingsMade(handle), "0") << name;
  }
}

TEST_F(OpenOptions, HaveNoCharacterSetForAnyOtherName) {
  const Handle handle = openHandle(*this);
  ASSERT_TRUE(handle) << orv_db_get_error_str();
  EXPECT_EQ(serverCharacterSets(handle), "utf8mb4 utf8mb4 utf8mb4");
  EXPECT_EQ(settingsMade(handle), "0");
}

TEST_F(OpenOptions, AreReadFromTheOptionsFileToo) {
  writeOptionsFile("[client]\ninit-command=SET @from_the_file='yes'\n");
  const Handle handle = openHandle(*this);
  ASSERT_TRUE(handle) << orv_db_get_error_str();
  EXPECT_EQ(rawValue(handle, "SELECT @from_the_file"), "yes");
}

TEST_F(OpenOptions, LeaveUserAndPasswordThatAreNullToTheOptionsFile) {
  EXPECT_EQ(orv_db_open(host(), nullptr, nullptr, db(), port()), nullptr);
  writeOptionsFile(std::string("[client]\nuser=") + user() + "\npassword=" + password() + "\n");
  const Handle handle(orv_db_open(host(), nullptr, nullptr, db(), port()));
  ASSERT_TRUE(handle) << orv_db_get_error_str();
  EXPECT_EQ(rawValue(handle, "SELECT SUBSTRING_INDEX(USER(), '@', 1)"), user());
}

TEST_F(OpenOptions, OfTheFileCanAskForTls) {
  writeOptionsFile("[client]\nssl-ca=" + server().certificate + "\n");
  const Handle handle = openHandle(*this);
  ASSERT_TRUE(handle) << orv_db_get_error_str();
  EXPECT_NE(rawValue(handle,
                     "SELECT VARIABLE_VALUE FROM information_schema.SESSION_STATUS WHERE VARIABLE_NAME = 'SSL_CIPHER'"),
            "");
}

#include "support/database.h"

#include <gtest/gtest.h>

#include <fstream>
#include <stdexcept>

namespace {

class AnotherTest : public DatabaseTest {
  void TestBody() override {}
};

std::vector<Row> databasesNamed(AdminConnection &admin, const std::string &name) {
  return admin.query("SELECT schema_name FROM information_schema.schemata WHERE schema_name = '" + name + "'");
}

}  // namespace

TEST_F(DatabaseTest, HasAFreshDatabaseThatGoesWithTheTest) {
  EXPECT_TRUE(admin().query("SHOW TABLES").empty());
  std::string name;
  {
    AnotherTest another;
    name = another.db();
    EXPECT_NE(name, db());
    another.admin().query("CREATE TABLE t (a INT)");
    EXPECT_EQ(databasesNamed(admin(), name).size(), 1U);
  }
  EXPECT_TRUE(databasesNamed(admin(), name).empty());
  EXPECT_EQ(databasesNamed(admin(), db()).size(), 1U);
}

TEST_F(DatabaseTest, StoresAnyText) {
  admin().query("CREATE TABLE t (a TEXT)");
  admin().query("INSERT INTO t VALUES ('\xF0\x9F\x98\x80'), (NULL), ('')");
  EXPECT_EQ(admin().query("SELECT a FROM t"), (std::vector<Row>{{"\xF0\x9F\x98\x80"}, {std::nullopt}, {""}}));
  EXPECT_EQ(admin().value("SELECT COUNT(*) FROM t"), "3");
}

TEST_F(DatabaseTest, ReportsWhatTheServerRefuses) {
  EXPECT_THROW(admin().query("SELECT nonsense"), std::runtime_error);
  EXPECT_THROW(AdminConnection(server(), "no_such_database"), std::runtime_error);
}

TEST_F(DatabaseTest, KillsTheConnectionsToItsDatabaseAlone) {
  AnotherTest another;
  AdminConnection others(another.server(), another.db());
  AdminConnection mine(server(), db());
  ASSERT_EQ(connectionIds(), (std::vector<unsigned long>{mysql_thread_id(mine.get())}));
  killConnections();
  EXPECT_TRUE(connectionIds().empty());
  EXPECT_THROW(mine.query("SELECT 1"), std::runtime_error);
  EXPECT_EQ(others.value("SELECT 1"), "1");
  EXPECT_EQ(admin().value("SELECT 1"), "1");
}

TEST_F(DatabaseTest, GivesTheWholeServerToItsUser) {
  EXPECT_EQ(admin().value("SELECT SUBSTRING_INDEX(CURRENT_USER(), '@', 1)"), user());
  EXPECT_GE(std::stoi(admin().value("SELECT @@max_connections")), 500);
  EXPECT_EQ(admin().query("SHOW GRANTS").at(0).at(0)->find("GRANT ALL PRIVILEGES ON *.*"), 0U);
}

TEST_F(DatabaseTest, ServerSpeaksTlsWithItsCertificate) {
  ASSERT_TRUE(std::ifstream(server().certificate));
  const std::unique_ptr<MYSQL, void (*)(MYSQL *)> connection(mysql_init(nullptr), mysql_close);
  mysql_ssl_set(connection.get(), nullptr, nullptr, server().certificate.c_str(), nullptr, nullptr);
  ASSERT_NE(mysql_real_connect(connection.get(), host(), user(), password(), db(), port(), nullptr, 0), nullptr)
      << mysql_error(connection.get());
  EXPECT_NE(mysql_get_ssl_cipher(connection.get()), nullptr);
  EXPECT_EQ(mysql_get_ssl_cipher(admin().get()), nullptr);
}

// The real server that the tests of one ctest run share, and one fresh database per test.
//
//   class Insert : public DatabaseTest {};
//   TEST_F(Insert, StoresTheText) {                        // orvdb_add_test(... DATABASE)
//     admin().query("CREATE TABLE t (a TEXT)");
//     _orv_db_handle_t *handle = orv_db_open(host(), user(), password(), db(), port());
//     ...
//     EXPECT_EQ(admin().query("SELECT a FROM t"), (std::vector<Row>{{"text"}}));
//   }
//
// The library under test reads /etc/my.cnf: there is none in the private root until a test writes it.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/database_server.h"

using Row = AdminConnection::Row;

// The server that the environment variable ORVDB_TEST_MARIADB leads to.
DatabaseServer databaseServer();

class DatabaseTest : public ::testing::Test {
 public:
  DatabaseTest();
  // Drops the database.
  ~DatabaseTest() override;

  const char *host() const { return server_.host.c_str(); }
  unsigned int port() const { return server_.port; }
  const char *user() const { return server_.user.c_str(); }
  const char *password() const { return server_.password.c_str(); }
  const DatabaseServer &server() const { return server_; }
  // The name of this test's database: utf8mb4, empty at the start.
  const char *db() const { return db_.c_str(); }

  // Connected to the test's database.
  AdminConnection &admin() { return admin_; }
  // The server's ids of all connections to the test's database but admin()'s, oldest first.
  std::vector<unsigned long> connectionIds();
  // Ends those connections and returns once they are gone on the server's side.
  void killConnections();

 private:
  void killConnection(unsigned long id);

  DatabaseServer server_;
  AdminConnection admin_;
  std::string db_;
};

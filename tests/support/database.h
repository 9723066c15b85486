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
#include <mysql.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

struct DatabaseServer {
  std::string host;
  unsigned int port;
  std::string user;
  std::string password;
  std::string socket;
  std::string certificate;  // path of the certificate, which is its own authority
};

// As script/mariadb has written it into the file that ORVDB_TEST_MARIADB names.
DatabaseServer databaseServer();

// A field is without a value where it is NULL.
using Row = std::vector<std::optional<std::string>>;

// A connection that has nothing to do with the library under test. All failures are thrown as std::runtime_error.
class AdminConnection {
 public:
  explicit AdminConnection(const DatabaseServer &server, const std::string &db = "");

  // The rows of a query, and none of any other statement.
  std::vector<Row> query(const std::string &sql);
  // The first field of the first row.
  std::string value(const std::string &sql);
  MYSQL *get() const { return connection_.get(); }

 private:
  struct Close {
    void operator()(MYSQL *connection) const { mysql_close(connection); }
  };
  std::unique_ptr<MYSQL, Close> connection_;
};

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

// A private MariaDB server that script/mariadb has started, and connections to it that have nothing to do with the
// library.
#pragma once

#include <mysql.h>
#include <sys/types.h>

#include <filesystem>
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
  pid_t pid;
};

// As script/mariadb has written it into that file.
DatabaseServer databaseServer(const std::filesystem::path &connectionFile);

// All failures are thrown as std::runtime_error.
class AdminConnection {
 public:
  // A field is without a value where it is NULL.
  using Row = std::vector<std::optional<std::string>>;

  explicit AdminConnection(const DatabaseServer &server, const std::string &db = "");

  // Makes an empty database of that name, in place of one that is there, and uses it.
  void makeDatabase(const std::string &db);
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

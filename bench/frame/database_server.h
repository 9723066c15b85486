// The private MariaDB server of a run, and a connection to it that is not measured.
#pragma once

#include <mysql.h>
#include <sys/types.h>

#include <memory>
#include <string>

struct DatabaseServer {
  std::string host;
  unsigned int port;
  std::string user;
  std::string password;
  pid_t pid;
};

// From the connection file that script/mariadb has written.
DatabaseServer databaseServer(const std::string &connectionFile);

class AdminConnection {
 public:
  // Makes an empty database of that name and uses it.
  AdminConnection(const DatabaseServer &server, const std::string &db);

  // Throws when the statement fails. Rows are dropped.
  void run(const std::string &sql);

 private:
  struct Close {
    void operator()(MYSQL *connection) const { mysql_close(connection); }
  };
  std::unique_ptr<MYSQL, Close> m_connection;
};

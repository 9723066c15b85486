// How the database is reached.
#pragma once

#include <string>

#include "database/owners.h"

struct ConnectionOptions {
  std::string host = "127.0.0.1";
  std::string user;           // empty: what /etc/my.cnf says, else the login name
  unsigned int port = 0;      // 0: what /etc/my.cnf says, else 3306
  std::string database;       // empty: none
  bool asksPassword = false;  // else it is from the environment, or what /etc/my.cnf says
};

// Throws a Failure that says where the connection was to go and why it failed.
Handle connect(const ConnectionOptions &options);

// What the reference is made of: a connection with the library's options, statements, rows.
#pragma once

#include <mysql.h>

#include <initializer_list>
#include <memory>
#include <string>

#include "item_store.h"

namespace reference {

// Throws the connection's error unless `holds`.
void require(bool holds, MYSQL *connection);

struct CloseConnection {
  void operator()(MYSQL *connection) const { mysql_close(connection); }
};
using Connection = std::unique_ptr<MYSQL, CloseConnection>;

Connection connect(const DatabaseServer &server, const std::string &db);

struct CloseStatement {
  void operator()(MYSQL_STMT *statement) const { mysql_stmt_close(statement); }
};
using Statement = std::unique_ptr<MYSQL_STMT, CloseStatement>;

struct FreeResult {
  void operator()(MYSQL_RES *result) const { mysql_free_result(result); }
};
using StoredResult = std::unique_ptr<MYSQL_RES, FreeResult>;

// A value to bind. The bytes stay the caller's.
MYSQL_BIND bindOf(int &value);
MYSQL_BIND bindOf(long long &value);
MYSQL_BIND bindOf(unsigned long long &value);
MYSQL_BIND bindOf(double &value);
MYSQL_BIND bindOf(const void *bytes, unsigned long &length, enum_field_types type);

Statement prepare(MYSQL *connection, const std::string &sql);
void execute(MYSQL_STMT *statement, MYSQL_BIND *values);

std::unique_ptr<Rows> storeRows(Statement statement);
std::unique_ptr<Rows> storeTextRows(MYSQL *connection, const std::string &sql);

// The id in the first row, of which there must be one.
unsigned long long firstId(MYSQL_STMT *statement);

}  // namespace reference

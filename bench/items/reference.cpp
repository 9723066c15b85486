#include "reference.h"

#include <cstring>
#include <stdexcept>

namespace reference {

namespace {

template <class Number>
MYSQL_BIND bindNumber(Number &value, enum_field_types type, bool isUnsigned) {
  MYSQL_BIND bind{};
  bind.buffer_type = type;
  bind.buffer = &value;
  bind.buffer_length = sizeof value;
  bind.is_unsigned = isUnsigned ? 1 : 0;
  return bind;
}

void requireStatement(bool holds, MYSQL_STMT *statement) {
  if (!holds) throw std::runtime_error(std::string("the reference: ") + mysql_stmt_error(statement));
}

}  // namespace

void require(bool holds, MYSQL *connection) {
  if (!holds) throw std::runtime_error(std::string("the reference: ") + mysql_error(connection));
}

Connection connect(const DatabaseServer &server, const std::string &db) {
  Connection connection(mysql_init(nullptr));
  const my_bool reconnect = 1;
  const unsigned int timeout = 20;
  for (const mysql_option option : {MYSQL_OPT_CONNECT_TIMEOUT, MYSQL_OPT_READ_TIMEOUT, MYSQL_OPT_WRITE_TIMEOUT})
    mysql_options(connection.get(), option, &timeout);
  mysql_options(connection.get(), MYSQL_OPT_RECONNECT, &reconnect);
  mysql_options(connection.get(), MYSQL_READ_DEFAULT_FILE, "/etc/my.cnf");
  require(mysql_real_connect(connection.get(), server.host.c_str(), server.user.c_str(), server.password.c_str(),
                             db.c_str(), server.port, nullptr, 0) != nullptr,
          connection.get());
  return connection;
}

MYSQL_BIND bindOf(int &value) { return bindNumber(value, MYSQL_TYPE_LONG, false); }
MYSQL_BIND bindOf(long long &value) { return bindNumber(value, MYSQL_TYPE_LONGLONG, false); }
MYSQL_BIND bindOf(unsigned long long &value) { return bindNumber(value, MYSQL_TYPE_LONGLONG, true); }
MYSQL_BIND bindOf(double &value) { return bindNumber(value, MYSQL_TYPE_DOUBLE, false); }

MYSQL_BIND bindOf(const void *bytes, unsigned long &length, enum_field_types type) {
  MYSQL_BIND bind{};
  bind.buffer_type = type;
  bind.buffer = const_cast<void *>(bytes);
  bind.buffer_length = length;
  bind.length = &length;
  return bind;
}

Statement prepare(MYSQL *connection, const std::string &sql) {
  Statement statement(mysql_stmt_init(connection));
  require(statement != nullptr, connection);
  requireStatement(mysql_stmt_prepare(statement.get(), sql.data(), sql.size()) == 0, statement.get());
  return statement;
}

void execute(MYSQL_STMT *statement, MYSQL_BIND *values) {
  requireStatement(mysql_stmt_bind_param(statement, values) == 0 && mysql_stmt_execute(statement) == 0, statement);
}

unsigned long long firstId(MYSQL_STMT *statement) {
  unsigned long long id = 0;
  MYSQL_BIND bind = bindOf(id);
  requireStatement(mysql_stmt_bind_result(statement, &bind) == 0 && mysql_stmt_store_result(statement) == 0 &&
                       mysql_stmt_fetch(statement) == 0,
                   statement);
  return id;
}

}  // namespace reference

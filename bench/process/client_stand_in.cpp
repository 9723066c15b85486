#include "client_stand_in.h"

#include <mysql.h>

#include "columns.h"

namespace {

bool s_standsIn = false;
MYSQL_STMT s_statement;

}  // namespace

ClientStandIn::ClientStandIn() { s_standsIn = true; }
ClientStandIn::~ClientStandIn() { s_standsIn = false; }

extern "C" {

// The linker leads calls of `mysql_stmt_name` to `__wrap_mysql_stmt_name`.
#define STAND_IN(result, name, parameters, arguments, value) \
  result __real_mysql_stmt_##name parameters;                \
  result __wrap_mysql_stmt_##name parameters;                \
  result __wrap_mysql_stmt_##name parameters { return s_standsIn ? (value) : __real_mysql_stmt_##name arguments; }

STAND_IN(MYSQL_STMT *, init, (MYSQL * connection), (connection), &s_statement)
STAND_IN(int, prepare, (MYSQL_STMT * statement, const char *text, unsigned long size), (statement, text, size), 0)
STAND_IN(unsigned long, param_count, (MYSQL_STMT * statement), (statement), kColumnCount)
STAND_IN(my_bool, bind_param, (MYSQL_STMT * statement, MYSQL_BIND *binds), (statement, binds), 0)
STAND_IN(int, execute, (MYSQL_STMT * statement), (statement), 0)
STAND_IN(my_ulonglong, affected_rows, (MYSQL_STMT * statement), (statement), 1)
STAND_IN(my_ulonglong, insert_id, (MYSQL_STMT * statement), (statement), 7)
STAND_IN(my_bool, close, (MYSQL_STMT * statement), (statement), 0)
}

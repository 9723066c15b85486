#include "query/statement.h"

#include <errmsg.h>

#include <cstring>
#include <memory>
#include <new>

#include "core/last_error.h"

namespace {

struct close_statement {
  void operator()(MYSQL_STMT *stmt) const { mysql_stmt_close(stmt); }
};
using open_statement = std::unique_ptr<MYSQL_STMT, close_statement>;

struct binding {
  enum_field_types type;
  unsigned long size;  // 0: text or blob, whose length comes with the value
};

// By the parameter's type; any other type is SQL NULL.
constexpr binding kBindings[] = {
    {MYSQL_TYPE_NULL, 0},     {MYSQL_TYPE_TINY, 1},  // ORV_DB_TYPE_CHAR
    {MYSQL_TYPE_SHORT, 2},                           // ORV_DB_TYPE_SHORT_INT
    {MYSQL_TYPE_LONG, 4},                            // ORV_DB_TYPE_INT
    {MYSQL_TYPE_LONGLONG, 8},                        // ORV_DB_TYPE_INT64
    {MYSQL_TYPE_FLOAT, 4},                           // ORV_DB_TYPE_FLOAT
    {MYSQL_TYPE_DOUBLE, 8},                          // ORV_DB_TYPE_DOUBLE
    {MYSQL_TYPE_STRING, 0},                          // ORV_DB_TYPE_TEXT
    {MYSQL_TYPE_BLOB, 0},                            // ORV_DB_TYPE_BLOB
};

// The client library takes pointers to data that it only reads; none of these is ever written.
my_bool s_notNull = 0;
char s_noBytes[1] = "";
unsigned long s_noLength = 0;

// The client library would store NULL for a null buffer, so a missing text becomes an empty one.
void bindBytes(const _orv_db_param_t &param, MYSQL_BIND &bind) {
  const bool hasBytes = param.value.data != nullptr;
  bind.buffer = hasBytes ? const_cast<void *>(param.value.data) : s_noBytes;
  bind.length = hasBytes ? const_cast<unsigned long *>(&param.length) : &s_noLength;
  bind.buffer_length = *bind.length;
}

void bindParam(const _orv_db_param_t &param, MYSQL_BIND &bind) {
  const auto code = static_cast<unsigned int>(param.type);
  const bool isNull = code < ORV_DB_TYPE_CHAR || code > ORV_DB_TYPE_BLOB;
  const binding &bound = kBindings[isNull ? 0 : code];
  bind.buffer_type = bound.type;
  bind.is_null = &s_notNull;
  if (isNull) return;
  bind.is_unsigned = static_cast<my_bool>(param.is_unsigned);
  if (bound.size == 0) return bindBytes(param, bind);
  bind.buffer = const_cast<decltype(param.value) *>(&param.value);
  bind.buffer_length = bound.size;
}

// Gives the code back; a failed call's text becomes the last-error text.
int withText(MYSQL_STMT *stmt, int code) {
  if (code != 0) setLastError(mysql_stmt_error(stmt));
  return code;
}

int bindAndExecute(MYSQL_STMT *stmt, const _orv_db_param_t *params, unsigned int count) {
  if (count == 0 || params == nullptr) return withText(stmt, mysql_stmt_execute(stmt));
  const std::unique_ptr<MYSQL_BIND[]> binds(new (std::nothrow) MYSQL_BIND[count]());
  if (binds == nullptr) return CR_OUT_OF_MEMORY;
  for (unsigned int i = 0; i < count; ++i)
    bindParam(params[i], binds[i]);
  const int refused = withText(stmt, mysql_stmt_bind_param(stmt, binds.get()));
  return refused != 0 ? refused : withText(stmt, mysql_stmt_execute(stmt));
}

}  // namespace

int run_statement(_orv_db_handle_t *handle, const char *sql, const _orv_db_param_t *params, unsigned int count,
                  MYSQL_STMT **stmt) {
  const mutex_guard running(&handle->lock);
  return runStatementLocked(handle, sql, params, count, stmt);
}

int runStatementLocked(_orv_db_handle_t *handle, const char *sql, const _orv_db_param_t *params, unsigned int count,
                       MYSQL_STMT **stmt) {
  clearLastError();
  *stmt = nullptr;
  open_statement open(mysql_stmt_init(handle->connection()));
  if (open == nullptr) return CR_OUT_OF_MEMORY;
  int code = withText(open.get(), mysql_stmt_prepare(open.get(), sql, std::strlen(sql)));
  if (code != 0) return code;
  if (mysql_stmt_param_count(open.get()) != count) return CR_INVALID_PARAMETER_NO;
  code = bindAndExecute(open.get(), params, count);
  if (code != 0) return code;
  *stmt = open.release();
  return 0;
}

executed_statement::~executed_statement() {
  if (m_stmt == nullptr) return;
  const mutex_guard closing(&m_handle->lock);
  mysql_stmt_close(m_stmt);
}

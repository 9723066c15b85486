#include "query/select.h"

#include <errmsg.h>
#include <orvdb_client.h>

#include <new>

#include "core/last_error.h"
#include "core/status.h"
#include "event/memory_status.h"
#include "query/statement.h"
#include "query/stmt_set.h"

namespace {

int storeRows(MYSQL_STMT *stmt, ResultSetInfo **result) try {
  StmtSetInfo *set = allocStmtSetInfo();
  const int code = set->initialize(stmt);
  if (code == 0) {
    *result = set;
  } else {
    freeStmtSetInfo(set);
  }
  return code;
} catch (const std::bad_alloc &) {
  return CR_OUT_OF_MEMORY;
}

int runSelect(_orv_db_handle_t *handle, const std::string &sql, const _orv_db_param_t *params, unsigned int count,
              ResultSetInfo **result) {
  MYSQL_STMT *stmt = nullptr;
  int code = run_statement(handle, sql.c_str(), params, count, &stmt);
  if (code != 0) return code;
  executed_statement executed(handle, stmt);
  code = storeRows(stmt, result);
  if (code == 0) {
    executed.disown();
  } else {
    setLastError(mysql_stmt_error(stmt));
  }
  return code;
}

}  // namespace

std::string selectText(const char *table, const char *const *columns, unsigned int columnCount, const char *where,
                       const char *orderBy) {
  std::string text = "SELECT ";
  if (columnCount == 0 || columns == nullptr) {
    text += '*';
  } else {
    for (unsigned int i = 0; i < columnCount; ++i) {
      if (i != 0) text += ',';
      if (columns[i] == nullptr) return text;
      text += columns[i];
    }
  }
  text.append(" FROM ").append(table);
  if (where != nullptr) text.append(" WHERE ").append(where);
  if (orderBy != nullptr) text.append(" ORDER BY ").append(orderBy);
  return text;
}

extern "C" unsigned int orv_db_query(_orv_db_handle_t *handle, const char *table, const char **columns,
                                     unsigned int columnCount, const char *where, const _orv_db_param_t *params,
                                     unsigned int paramCount, const char *orderBy, ResultSetInfo **result) {
  clearLastError();
  if (handle == nullptr || table == nullptr || result == nullptr) return ORV_DB_INVALID_ARGUMENT;
  *result = nullptr;
  return static_cast<unsigned int>(withMemoryStatus([&] {
    const std::string sql = selectText(table, columns, columnCount, where, orderBy);
    return statusOfClientError(static_cast<unsigned int>(runSelect(handle, sql, params, paramCount, result)));
  }));
}

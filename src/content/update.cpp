#include <cstdio>
#include <cstdlib>
#include <new>

#include "content/table_write.h"
#include "core/change_report.h"
#include "core/last_error.h"
#include "core/log.h"
#include "event/memory_status.h"
#include "query/select.h"
#include "query/statement.h"
#include "query/stmt_set.h"

namespace {

constexpr std::size_t kTextLimit = 4096;
constexpr const char *kRowIdColumn[] = {"_id"};

struct row_filter {
  const char *where;
  const _orv_db_param_t *params;
  int paramCount;
};

std::string updateText(const char *table, const _orv_db_content_values_t &content, const char *where,
                       value_writer write) {
  std::string text = std::string("UPDATE ") + table + " SET ";
  bool first = true;
  for (const auto &[column, value] : content.values) {
    if (!first) text += ',';
    first = false;
    text.append(column).append("=");
    write(text, value);
  }
  if (where != nullptr) text.append(" WHERE ").append(where);
  return text;
}

// The values to set, then those of the filter.
param_list updateParams(const _orv_db_content_values_t &content, const row_filter &filter) {
  param_list params = paramsOf(content);
  if (filter.params != nullptr && filter.paramCount > 0) {
    params.insert(params.end(), filter.params, filter.params + filter.paramCount);
  }
  return params;
}

bool readRowId(MYSQL_STMT *stmt, unsigned long long *rowId) {
  StmtSetInfo rows;
  if (rows.initialize(stmt) != 0) {
    mysql_stmt_close(stmt);
    return false;
  }
  return rows.step() == ORV_DB_ROW && rows.getUBigInt(0, rowId) == ORV_DB_OK;
}

// The id of the first matching row, or kUnknownRow. Everything from the run to the release of the rows goes on under
// one hold of the handle's lock, since other threads may be writing through the same handle. The rows are not taken
// from the pool: its lock comes before that of a handle.
unsigned long long get_row_id(_orv_db_handle_t *handle, const char *table, const row_filter &filter) try {
  const std::string sql = selectText(table, kRowIdColumn, 1, filter.where, nullptr);
  const mutex_guard looking(&handle->lock);
  MYSQL_STMT *stmt = nullptr;
  unsigned long long rowId = kUnknownRow;
  const auto count = static_cast<unsigned int>(filter.paramCount);
  if (runStatementLocked(handle, sql.c_str(), filter.params, count, &stmt) != 0) return kUnknownRow;
  return readRowId(stmt, &rowId) ? rowId : kUnknownRow;
} catch (const std::bad_alloc &) {
  return kUnknownRow;  // no failure of the lookup is one of the update
}

// A text that is too long ends the process: callers rely on an update never being cut.
void checkLength(const std::string &sql) {
  if (sql.size() < kTextLimit) return;
  db_api_log("orv_db_update: statement text of %zu bytes, limit is %zu", sql.size(), kTextLimit - 1);
  std::fprintf(stderr, "orv_db_update: statement text of %zu bytes, limit is %zu\n", sql.size(), kTextLimit - 1);
  std::abort();
}

int updateRows(_orv_db_handle_t *handle, const char *table, const _orv_db_content_values_t &content,
               const row_filter &filter, unsigned long long *affected_rows) {
  const param_list params = updateParams(content, filter);
  const std::string sql = updateText(table, content, filter.where, writePlaceholder);
  const std::string logText =
      isLoggedTable(table) ? updateText(table, content, filter.where, writeLiteral) : std::string();
  const unsigned long long rowId = get_row_id(handle, table, filter);
  checkLength(sql);
  const write_result written = runWrite(handle, sql.c_str(), params.data(), static_cast<unsigned int>(params.size()));
  if (written.status != ORV_DB_OK) return written.status;
  storeCounter(affected_rows, written.affectedRows);
  if (!changedNothing(handle, written)) announceWrite(handle, table, ORV_DB_ACTION_UPDATE, rowId, logText);
  return ORV_DB_OK;
}

}  // namespace

extern "C" int orv_db_update(_orv_db_handle_t *handle, const char *table, const _orv_db_content_values_t *content,
                             const char *where, const _orv_db_param_t *where_params, int where_param_count,
                             unsigned long long *affected_rows) {
  clearLastError();
  storeCounter(affected_rows, 0);
  if (content == nullptr || table == nullptr || handle == nullptr) return ORV_DB_INVALID_ARGUMENT;
  if (content->values.empty()) return ORV_DB_INVALID_ARGUMENT;
  const row_filter filter{where, where_params, where_param_count};
  return withMemoryStatus([&] { return updateRows(handle, table, *content, filter, affected_rows); });
}

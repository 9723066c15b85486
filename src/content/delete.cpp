#include "content/table_write.h"
#include "core/change_report.h"
#include "core/last_error.h"
#include "event/memory_status.h"

namespace {

std::string deleteText(const char *table, const char *where) {
  std::string text = std::string("DELETE FROM ") + table;
  if (where != nullptr) text.append(" WHERE ").append(where);
  return text;
}

}  // namespace

// Reported even if no row was deleted.
extern "C" int orv_db_delete(_orv_db_handle_t *handle, const char *table, const char *where,
                             const _orv_db_param_t *params, int param_count, unsigned long long *affected_rows) {
  clearLastError();
  storeCounter(affected_rows, 0);
  if (table == nullptr || handle == nullptr) return ORV_DB_INVALID_ARGUMENT;
  return withMemoryStatus([&]() -> int {
    const std::string sql = deleteText(table, where);
    const write_result written = runWrite(handle, sql.c_str(), params, static_cast<unsigned int>(param_count));
    if (written.status != ORV_DB_OK) return written.status;
    storeCounter(affected_rows, written.affectedRows);
    announceWrite(handle, table, ORV_DB_ACTION_DELETE, kUnknownRow, sql);
    return ORV_DB_OK;
  });
}

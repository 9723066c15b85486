#include "content/table_write.h"
#include "core/last_error.h"
#include "event/memory_status.h"

namespace {

std::string insertText(const char *table, const _orv_db_content_values_t &content, value_writer write) {
  std::string text = std::string("INSERT INTO ") + table;
  char separator = '(';
  for (const auto &[column, value] : content.values) {
    (text += separator) += column;
    separator = ',';
  }
  text += ") VALUES ";
  separator = '(';
  for (const auto &[column, value] : content.values) {
    text += separator;
    write(text, value);
    separator = ',';
  }
  text += ')';
  return text;
}

int insertRow(_orv_db_handle_t *handle, const char *table, const _orv_db_content_values_t &content,
              unsigned long long *affected_rows, unsigned long long *insert_id) {
  const param_list params = paramsOf(content);
  const std::string sql = insertText(table, content, writePlaceholder);
  const std::string logText = isLoggedTable(table) ? insertText(table, content, writeLiteral) : std::string();
  const write_result written = runWrite(handle, sql.c_str(), params.data(), static_cast<unsigned int>(params.size()));
  if (written.status != ORV_DB_OK) return written.status;
  storeCounter(affected_rows, written.affectedRows);
  storeCounter(insert_id, written.insertId);
  if (!changedNothing(handle, written)) announceWrite(handle, table, ORV_DB_ACTION_INSERT, written.insertId, logText);
  return ORV_DB_OK;
}

}  // namespace

extern "C" int orv_db_insert(_orv_db_handle_t *handle, const char *table, const _orv_db_content_values_t *content,
                             unsigned long long *affected_rows, unsigned long long *insert_id) {
  clearLastError();
  storeCounter(affected_rows, 0);
  storeCounter(insert_id, 0);
  if (content == nullptr || table == nullptr || handle == nullptr) return ORV_DB_INVALID_ARGUMENT;
  if (content->values.empty()) return ORV_DB_INVALID_ARGUMENT;
  return withMemoryStatus([&] { return insertRow(handle, table, *content, affected_rows, insert_id); });
}

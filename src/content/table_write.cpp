#include "content/table_write.h"

#include <cstring>
#include <locale>
#include <sstream>

#include "core/change_report.h"
#include "core/log.h"
#include "core/status.h"
#include "core/transaction.h"
#include "query/statement.h"

void writePlaceholder(std::string &text, const db_value &) { text += '?'; }

void writeLiteral(std::string &text, const db_value &value) {
  std::ostringstream literal;
  literal.imbue(std::locale::classic());      // whatever the application has chosen
  literal.exceptions(std::ios_base::badbit);  // or a lack of memory would only cut the text
  literal << value;
  text += literal.str();
}

param_list paramsOf(const _orv_db_content_values_t &content) {
  param_list params;
  params.reserve(content.values.size());
  for (const auto &[column, value] : content.values)
    params.push_back(value.toParam());
  return params;
}

write_result runWrite(_orv_db_handle_t *handle, const char *sql, const _orv_db_param_t *params, unsigned int count) {
  MYSQL_STMT *stmt = nullptr;
  const int code = run_statement(handle, sql, params, count, &stmt);
  if (code != 0) return {statusOfClientError(static_cast<unsigned int>(code)), 0, 0};
  const executed_statement executed(handle, stmt);
  return {ORV_DB_OK, mysql_stmt_affected_rows(stmt), mysql_stmt_insert_id(stmt)};
}

bool changedNothing(_orv_db_handle_t *handle, const write_result &written) {
  return written.affectedRows == 0 && is_autocommit(handle);
}

bool isLoggedTable(const char *table) { return std::strcmp(table, "Firmwares") == 0; }

void announceWrite(_orv_db_handle_t *handle, const char *table, int action, unsigned long long rowId,
                   const std::string &logText) {
  reportWritten(handle, table, action, rowId);
  if (isLoggedTable(table)) db_api_process_info(logText.c_str());
}

void storeCounter(unsigned long long *counter, unsigned long long value) {
  if (counter != nullptr) *counter = value;
}

// SQL text through the text protocol.
#include <strings.h>

#include <algorithm>
#include <cctype>
#include <cstring>
#include <memory>
#include <string_view>

#include "core/change_report.h"
#include "core/last_error.h"
#include "core/log.h"
#include "core/status.h"
#include "event/memory_status.h"
#include "query/raw_set.h"

namespace {

constexpr std::string_view kFirmwaresTable = "Firmwares";
constexpr std::string_view kSelect = "select";

using stored_result = std::unique_ptr<MYSQL_RES, free_result>;

struct answer {
  int status;
  stored_result rows;
};

int failedStatus(MYSQL *connection, unsigned int code) {
  setLastError(mysql_error(connection));
  return statusOfClientError(code);
}

// Under one hold of the lock, so that the error is this statement's and not another thread's.
answer runText(_orv_db_handle_t *handle, std::string_view sql) {
  const mutex_guard running(&handle->lock);
  MYSQL *connection = handle->connection();
  const int failed = mysql_real_query(connection, sql.data(), sql.size());
  if (failed != 0) return {failedStatus(connection, static_cast<unsigned int>(failed)), nullptr};
  stored_result rows(mysql_store_result(connection));
  const unsigned int code = mysql_errno(connection);
  return {code == 0 ? ORV_DB_OK : failedStatus(connection, code), std::move(rows)};
}

bool contains(std::string_view text, std::string_view word) { return text.find(word) != std::string_view::npos; }

bool containsAnyCase(std::string_view text, std::string_view lowerWord) {
  const auto same = [](char a, char b) { return std::tolower(static_cast<unsigned char>(a)) == b; };
  return std::search(text.begin(), text.end(), lowerWord.begin(), lowerWord.end(), same) != text.end();
}

// The log keeps no more than this of any text.
void logStatement(std::string_view sql) {
  char text[1024] = {};
  std::memcpy(text, sql.data(), std::min(sql.size(), sizeof text - 1));
  db_api_process_info(text);
}

// Statements that give no rows are never reported; that is all that callers have come to rely on.
void reportFirmwares(_orv_db_handle_t *handle, std::string_view sql) {
  if (!contains(sql, kFirmwaresTable) || containsAnyCase(sql, kSelect)) return;
  reportWritten(handle, kFirmwaresTable.data(), ORV_DB_ACTION_ALL, kWholeTable);
  logStatement(sql);
}

void handOut(stored_result rows, ResultSetInfo **result) {
  const unsigned int columnCount = mysql_num_fields(rows.get());
  if (columnCount == 0) return;
  RawSetInfo *set = allocRawSetInfo();
  set->fill(rows.release(), columnCount);
  *result = set;
}

}  // namespace

extern "C" unsigned int orv_db_raw_query(_orv_db_handle_t *handle, const char *sql, unsigned long length,
                                         ResultSetInfo **result) {
  clearLastError();
  if (result != nullptr) *result = nullptr;
  if (handle == nullptr || length == 0 || sql == nullptr) return ORV_DB_INVALID_ARGUMENT;
  const std::string_view text(sql, length);
  return static_cast<unsigned int>(withMemoryStatus([&] {
    answer answered = runText(handle, text);
    if (answered.rows != nullptr) {
      reportFirmwares(handle, text);
      if (result != nullptr) handOut(std::move(answered.rows), result);
    }
    return answered.status;
  }));
}

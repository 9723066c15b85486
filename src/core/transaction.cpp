// Transactions: begin, commit, rollback.
#include "core/transaction.h"

#include "core/change_report.h"
#include "core/log.h"

namespace {

constexpr my_bool kAutocommitOff = 0;
constexpr my_bool kAutocommitOn = 1;

void begin(_orv_db_handle_t *handle) {
  const mutex_guard beginning(&handle->lock);
  db_api_log("handle in begin transcation: 0x%p\n", static_cast<void *>(handle));
  mysql_autocommit(handle->connection(), kAutocommitOff);
}

bool commit(_orv_db_handle_t *handle) {
  const mutex_guard committing(&handle->lock);
  db_api_log("handle in commit transcation: 0x%p\n", static_cast<void *>(handle));
  const bool committed = mysql_commit(handle->connection()) == 0;
  mysql_autocommit(handle->connection(), kAutocommitOn);
  return committed;
}

void rollBack(_orv_db_handle_t *handle) {
  const mutex_guard rollingBack(&handle->lock);
  mysql_rollback(handle->connection());
  mysql_autocommit(handle->connection(), kAutocommitOn);
}

}  // namespace

bool is_autocommit(_orv_db_handle_t *handle) {
  unsigned int status = SERVER_STATUS_AUTOCOMMIT;  // what holds if the client library can't tell
  mariadb_get_infov(&handle->mysql, MARIADB_CONNECTION_SERVER_STATUS, &status);
  return (status & SERVER_STATUS_AUTOCOMMIT) != 0;
}

extern "C" {

int orv_db_begin_transaction(_orv_db_handle_t *handle) {
  if (handle == nullptr) return ORV_DB_INVALID_ARGUMENT;
  db_api_process_info("orv_db_begin_transaction");
  begin(handle);
  return ORV_DB_OK;
}

int orv_db_commit_transaction(_orv_db_handle_t *handle) {
  if (handle == nullptr) return ORV_DB_INVALID_ARGUMENT;
  db_api_process_info("orv_db_commit_transaction");
  if (!commit(handle)) {
    dropPendingTables(handle);
    return ORV_DB_COMMIT_FAILED;
  }
  announcePendingTables(handle);
  return ORV_DB_OK;
}

// What the transaction wrote stays pending, and is announced by the next commit.
int orv_db_rollback_transaction(_orv_db_handle_t *handle) {
  if (handle == nullptr) return ORV_DB_INVALID_ARGUMENT;
  rollBack(handle);
  return ORV_DB_OK;
}
}

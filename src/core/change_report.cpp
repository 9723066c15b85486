#include "core/change_report.h"

#include <new>
#include <stdexcept>

#include "core/connection.h"
#include "core/load_order.h"
#include "core/log.h"
#include "core/transaction.h"

exit_emptied<pending_map> s_mapPendingTables ORV_LOADED(kLoadPendingTables);

void pending_map::emptyAtExit() {
  if (!s_pConnInfoLock->tryLock()) return;  // a thread that holds it now may never let it go
  clear();
  s_pConnInfoLock->unlock();
}

namespace {

void logUnreported(const char *reason, _orv_db_handle_t *handle, const char *table, int action,
                   unsigned long long rowId) {
  db_api_log("report_change:%s, db_handle=%p,table=%s,action=%d,rowId=%llu", reason, static_cast<void *>(handle), table,
             action, rowId);
}

// Empty when the handle is not registered.
std::string databaseOf(_orv_db_handle_t *handle) {
  const read_guard reading(s_pConnInfoLock);
  const mutex_guard using_(&handle->lock);
  const auto entry = s_mapConnInfo->find(&handle->mysql);
  return entry != s_mapConnInfo->end() ? entry->second.db : std::string();
}

void addPendingTable(_orv_db_handle_t *handle, const char *table) {
  if (table == nullptr) throw std::logic_error("basic_string::_M_construct null not valid");
  const write_guard adding(s_pConnInfoLock);
  (*s_mapPendingTables)[handle].emplace(table);
}

table_set pendingTables(_orv_db_handle_t *handle) {
  const write_guard copying(s_pConnInfoLock);
  return (*s_mapPendingTables)[handle];
}

}  // namespace

void report_change(_orv_db_handle_t *handle, const char *table, int action, unsigned long long rowId) {
  if (handle == nullptr) return logUnreported("db_handle==NULL", handle, table, action, rowId);
  if (!is_autocommit(handle)) return addPendingTable(handle, table);
  const std::string db = databaseOf(handle);
  if (db.empty()) return logUnreported("db.empty", handle, table, action, rowId);
  orv_db_notify_change(db.c_str(), table, static_cast<_orv_db_action_t>(action), rowId);
}

void reportWritten(_orv_db_handle_t *handle, const char *table, int action, unsigned long long rowId) {
  try {
    report_change(handle, table, action, rowId);
  } catch (const std::bad_alloc &) {
    logUnreported("out of memory", handle, table, action, rowId);
  }
}

// From a copy: no lock is held while the notification client runs.
void announcePendingTables(_orv_db_handle_t *handle) {
  table_set tables;
  try {
    tables = pendingTables(handle);
  } catch (const std::bad_alloc &) {
    return logUnreported("out of memory", handle, "", ORV_DB_ACTION_ALL, kWholeTable);
  }
  for (const std::string &table : tables)
    reportWritten(handle, table.c_str(), ORV_DB_ACTION_ALL, kWholeTable);
}

void dropPendingTables(_orv_db_handle_t *handle) {
  const write_guard dropping(s_pConnInfoLock);
  s_mapPendingTables->erase(handle);
}

// The exported functions of the notification client.
#include "event/db_event_mgr.h"
#include "event/memory_status.h"

namespace {

template <class Operation>
int withManager(Operation operation) {
  db_event_mgr *manager = db_event_mgr::getInstance();
  if (manager == nullptr) return ORV_DB_NO_EVENT_MANAGER;
  return withMemoryStatus([&] { return operation(*manager); });
}

}  // namespace

extern "C" {

int orv_db_notify_change(const char *db, const char *table, _orv_db_action_t action, unsigned long long rowId) {
  return withManager([=](db_event_mgr &manager) { return manager.notifyChange(db, table, action, rowId); });
}

int orv_db_register_callback(const char *db, const char *table, _orv_db_action_t action, void *userData,
                             unsigned char flag, orv_db_change_cb callback) {
  return withManager(
      [=](db_event_mgr &manager) { return manager.registerCallback(db, table, action, userData, flag, callback); });
}

int orv_db_cancel_callback(const char *db, const char *table, _orv_db_action_t action) {
  return withManager([=](db_event_mgr &manager) { return manager.cancelCallback(db, table, action); });
}
}

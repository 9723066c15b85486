// Opening and closing connections, the connection test, the counters of raw queries.
#include "core/connection.h"

#include <cstdlib>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <utility>

#include "core/change_report.h"
#include "core/last_error.h"
#include "core/load_order.h"
#include "event/db_event_mgr.h"

exit_emptied<connection_map> s_mapConnInfo ORV_LOADED(kLoadConnections);

void connection_map::emptyAtExit() {
  if (!s_pConnInfoLock->tryLock()) return;  // a thread that holds it now may never let it go
  clear();
  s_pConnInfoLock->unlock();
}

namespace {

constexpr unsigned int kTimeoutSeconds = 20;
constexpr char kOptionsFile[] = "/etc/my.cnf";
constexpr char kUtf8Database[] = "eventlogdb";  // the one database that is spoken to in utf8

struct release_memory {
  void operator()(_orv_db_handle_t *handle) const { std::free(handle); }
};
struct close_connection {
  void operator()(_orv_db_handle_t *handle) const {
    mysql_close(&handle->mysql);
    std::free(handle);
  }
};
using handle_memory = std::unique_ptr<_orv_db_handle_t, release_memory>;
using client_handle = std::unique_ptr<_orv_db_handle_t, close_connection>;

// Null, with the reason in the last-error text, on failure.
client_handle makeClientHandle(const char *db) {
  handle_memory memory(static_cast<_orv_db_handle_t *>(std::calloc(1, sizeof(_orv_db_handle_t))));
  if (memory == nullptr) {
    setLastError("calloc failed");
    return nullptr;
  }
  clearLastError();
  const mutex_guard initialising(s_pOpenMutex);
  MYSQL *connection = &memory->mysql;
  const bool initialised = mysql_init(connection) != nullptr;
  if (std::strcmp(db, kUtf8Database) == 0) {
    mysql_options(connection, MYSQL_SET_CHARSET_NAME, "utf8");
    mysql_options(connection, MYSQL_INIT_COMMAND, "SET NAMES utf8");
  }
  if (!initialised) {
    setLastError("mysql_init() failed");
    return nullptr;
  }
  return client_handle(memory.release());
}

void setOptions(MYSQL *connection) {
  const my_bool reconnect = 1;
  const unsigned int timeout = kTimeoutSeconds;
  mysql_options(connection, MYSQL_OPT_RECONNECT, &reconnect);
  mysql_options(connection, MYSQL_OPT_CONNECT_TIMEOUT, &timeout);
  mysql_options(connection, MYSQL_OPT_READ_TIMEOUT, &timeout);
  mysql_options(connection, MYSQL_OPT_WRITE_TIMEOUT, &timeout);
  mysql_options(connection, MYSQL_READ_DEFAULT_FILE, kOptionsFile);
}

// Leaves no entry behind when memory runs out.
void registerConnection(_orv_db_handle_t *handle, ConnectionInfo info) {
  const write_guard registering(s_pConnInfoLock);
  s_mapConnInfo->insert_or_assign(&handle->mysql, std::move(info));
  handle->lock.init();
  try {
    (*s_mapPendingTables)[handle].clear();
  } catch (...) {
    s_mapConnInfo->erase(&handle->mysql);
    throw;
  }
}

// False when the handle is not open. The tables that a closed handle left pending stay: they are emptied when an open
// gets the same address.
bool unregisterConnection(_orv_db_handle_t *handle) {
  const write_guard unregistering(s_pConnInfoLock);
  if (s_mapConnInfo->erase(&handle->mysql) != 0) return true;
  s_mapPendingTables->erase(handle);
  return false;
}

_orv_db_handle_t *openConnection(const char *host, const char *user, const char *passwd, const char *db,
                                 unsigned int port) {
  ConnectionInfo info{host, db};
  client_handle handle = makeClientHandle(db);
  if (handle == nullptr) return nullptr;
  MYSQL *connection = &handle->mysql;
  setOptions(connection);
  if (mysql_real_connect(connection, host, user, passwd, db, port, nullptr, 0) == nullptr) {
    setLastError(mysql_error(connection));
    return nullptr;
  }
  registerConnection(handle.get(), std::move(info));
  return handle.release();
}

// A null handle gives the status for an invalid argument, which can't be told from a count.
template <class Counter>
unsigned long long readCounter(_orv_db_handle_t *handle, Counter counter) {
  if (handle == nullptr) return ORV_DB_INVALID_ARGUMENT;
  const mutex_guard using_(&handle->lock);
  return counter(handle->connection());
}

}  // namespace

extern "C" {

_orv_db_handle_t *orv_db_open(const char *host, const char *user, const char *passwd, const char *db,
                              unsigned int port) {
  // Thrown by hand: the text that the string's own constructor uses depends on the compiler.
  if (host == nullptr || db == nullptr) throw std::logic_error("basic_string::_M_construct null not valid");
  if (s_bMainThreadQuiting) return nullptr;
  try {
    return openConnection(host, user, passwd, db, port);
  } catch (const std::bad_alloc &) {
    setLastError("out of memory");
    return nullptr;
  }
}

void orv_db_close(_orv_db_handle_t *handle) {
  if (handle == nullptr) return;
  if (!s_bMainThreadQuiting && !unregisterConnection(handle)) return;
  const client_handle closed(handle);
}

int orv_db_test_connection(_orv_db_handle_t *handle) {
  if (handle == nullptr) return ORV_DB_ERROR;
  const mutex_guard testing(&handle->lock);
  if (mysql_ping(handle->connection()) == 0) return ORV_DB_OK;
  setLastError(mysql_error(handle->connection()));
  return ORV_DB_LOST;
}

unsigned long long orv_db_raw_affected_rows(_orv_db_handle_t *handle) {
  return readCounter(handle, mysql_affected_rows);
}

unsigned long long orv_db_raw_insert_id(_orv_db_handle_t *handle) { return readCounter(handle, mysql_insert_id); }
}

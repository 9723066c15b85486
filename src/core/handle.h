// The connection handle.
#pragma once

#include <mysql.h>
#include <orvdb_client.h>

#include <cstddef>
#include <type_traits>

#include "core/locks.h"

// Lives in zero-filled C memory. The client library's object comes first: a handle's address is also the connection's,
// and the key under which the connection is registered.
struct _orv_db_handle_t {
  // Used through connection(), but for what takes no lock: its set-up and its end, which one thread sees to alone, and
  // its address as a key.
  MYSQL mysql ORV_GUARDED_BY(lock);
  // Not recursive; made once the connection stands.
  mutex lock ORV_ACQUIRED_AFTER(s_pStmtSetPoolMutex) ORV_ACQUIRED_BEFORE(s_pLogMutex);

  MYSQL *connection() ORV_REQUIRES(lock) { return &mysql; }
};

static_assert(std::is_standard_layout_v<_orv_db_handle_t>);
static_assert(offsetof(_orv_db_handle_t, mysql) == 0);

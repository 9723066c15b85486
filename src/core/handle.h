// The connection handle.
#pragma once

#include <mysql.h>
#include <orvdb_client.h>

#include <cstddef>
#include <type_traits>

#include "event/lock.h"

// Lives in zero-filled C memory. The client library's object comes first: a handle's address is also the connection's,
// and the key under which the connection is registered.
struct _orv_db_handle_t {
  MYSQL mysql;
  mutex lock;  // held around every use of `mysql`; not recursive; made once the connection stands
};

static_assert(std::is_standard_layout_v<_orv_db_handle_t>);
static_assert(offsetof(_orv_db_handle_t, mysql) == 0);

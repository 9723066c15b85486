#pragma once

#include "core/handle.h"

// Is the connection in auto-commit mode, as the server said last? Sends nothing and takes no lock.
bool is_autocommit(_orv_db_handle_t *handle);

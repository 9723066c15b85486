// Prepared statements: the one routine through which all statements with parameters run.
#pragma once

#include <mysql.h>

#include "core/handle.h"

// Prepares, binds and executes. 0: `*stmt` is an executed statement, the caller's to close. Otherwise a client error
// number or what the failing call returned, with `*stmt` null. Clears the last-error text first, and leaves the
// client library's text there when one of its calls failed.
int run_statement(_orv_db_handle_t *handle, const char *sql, const _orv_db_param_t *params, unsigned int count,
                  MYSQL_STMT **stmt) ORV_EXCLUDES(handle->lock);

int runStatementLocked(_orv_db_handle_t *handle, const char *sql, const _orv_db_param_t *params, unsigned int count,
                       MYSQL_STMT **stmt) ORV_REQUIRES(handle->lock);

// An executed statement. It is closed under the handle's lock, because that sends a packet.
class executed_statement {
 public:
  executed_statement(_orv_db_handle_t *handle, MYSQL_STMT *stmt) : m_handle(handle), m_stmt(stmt) {}
  ~executed_statement();
  executed_statement(const executed_statement &) = delete;
  executed_statement &operator=(const executed_statement &) = delete;

  MYSQL_STMT *get() const { return m_stmt; }
  void disown() { m_stmt = nullptr; }

 private:
  _orv_db_handle_t *m_handle;
  MYSQL_STMT *m_stmt;
};

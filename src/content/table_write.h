// What inserts, updates and deletes have in common.
#pragma once

#include <string>
#include <vector>

#include "content/content_values.h"
#include "core/handle.h"

using param_list = std::vector<_orv_db_param_t>;

// How a value stands in a statement's text: as a placeholder in the text that is run, as a literal in its copy for the
// log.
using value_writer = void (*)(std::string &text, const db_value &value);
void writePlaceholder(std::string &text, const db_value &value);
void writeLiteral(std::string &text, const db_value &value);

// One parameter per value, in the container's order. They point into the container.
param_list paramsOf(const _orv_db_content_values_t &content);

struct write_result {
  int status;
  unsigned long long affectedRows;
  unsigned long long insertId;
};

// Runs a statement and reads its counters, which are 0 when it fails.
write_result runWrite(_orv_db_handle_t *handle, const char *sql, const _orv_db_param_t *params, unsigned int count);

// Is there nothing to tell anybody? Inside a transaction a write is reported even if it changed no row.
bool changedNothing(_orv_db_handle_t *handle, const write_result &written);

// Writes to this table are logged with their statement.
bool isLoggedTable(const char *table);

// Reports a write that was done, and logs it if the table is a logged one.
void announceWrite(_orv_db_handle_t *handle, const char *table, int action, unsigned long long rowId,
                   const std::string &logText);

void storeCounter(unsigned long long *counter, unsigned long long value);

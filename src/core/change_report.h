// Reporting of changes: at once in auto-commit mode, at the commit inside a transaction.
#pragma once

#include <map>
#include <set>
#include <string>

#include "core/handle.h"
#include "core/locks.h"
#include "event/exit_emptied.h"

constexpr unsigned long long kUnknownRow = ~0ULL;
constexpr unsigned long long kWholeTable = 0;

using table_set = std::set<std::string>;

struct pending_map : std::map<_orv_db_handle_t *, table_set> {
  void emptyAtExit();
};

// Per handle, the tables written in transactions. A set outlives the transaction: it is emptied by a failed commit and
// by an open that gets the handle's address, never by a successful commit or a rollback.
extern exit_emptied<pending_map> s_mapPendingTables ORV_GUARDED_BY(s_pConnInfoLock);

// Throws std::bad_alloc, and std::logic_error for a null table in a transaction.
void report_change(_orv_db_handle_t *handle, const char *table, int action, unsigned long long rowId)
    ORV_EXCLUDES(s_pConnInfoLock, &_orv_db_handle_t::lock);

// report_change for a write that has been done, which a lack of memory no longer makes a failure.
void reportWritten(_orv_db_handle_t *handle, const char *table, int action, unsigned long long rowId)
    ORV_EXCLUDES(s_pConnInfoLock, &_orv_db_handle_t::lock);

void announcePendingTables(_orv_db_handle_t *handle) ORV_EXCLUDES(s_pConnInfoLock, &_orv_db_handle_t::lock);
void dropPendingTables(_orv_db_handle_t *handle) ORV_EXCLUDES(s_pConnInfoLock, &_orv_db_handle_t::lock);

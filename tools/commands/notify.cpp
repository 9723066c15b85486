#include "commands/notify.h"

#include <orvdb_client.h>

#include "changes/changes.h"
#include "exit_status.h"

int notify(const NotifyOptions &options) {
  checkName("database", options.database);
  checkName("table", options.table);
  const unsigned long long unnamed = options.actions == ORV_DB_ACTION_ALL ? kWholeTable : kUnknownRow;
  announce(options.database, options.table, options.actions, options.rowId.value_or(unnamed));
  return kDone;
}

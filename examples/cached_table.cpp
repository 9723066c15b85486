// A copy of a table in memory that stays right while other processes write: here of the table `settings`.
//
//   MYSQL_PWD=... cached_table HOST USER DATABASE
//
// Prints the copy whenever it has changed, until SIGINT or SIGTERM. What keeps it right:
//  - It registers first and loads afterwards: what changes in between is announced.
//  - The callback only notes the change, as it holds up the library's message thread. The main thread reads the rows.
//  - Only an insert of a known row is read alone. All else loads the whole table: row id 0, the unknown row (all bits
//    set), ORV_DB_ACTION_ALL, and an update, since that names the first of its rows only.
//  - Without a notification server (status 12) or its answer (7) it loads every second, and now and then at other
//    times: a server that stays away for half an hour is not looked for any more, and nothing says so.
#include <cstdio>
#include <iostream>
#include <map>
#include <mutex>
#include <set>
#include <utility>

#include "orvdb_owners.h"
#include "wake_up.h"

namespace {

using Rows = std::map<RowId, std::string>;

// The rows to read again: the message thread notes them, the main thread takes them.
struct Changes {
  std::mutex mutex;
  std::set<RowId> rows;
};

void noteChange(const char *, const char *, _orv_db_action_t action, RowId row, void *data) {
  Changes &changes = *static_cast<Changes *>(data);
  const bool isOneRow = action == ORV_DB_ACTION_INSERT && row != kUnknownRow;
  const std::lock_guard guard(changes.mutex);
  changes.rows.insert(isOneRow ? row : kWholeTable);
  wakeUp();
}

std::set<RowId> takeRows(Changes &changes) {
  const std::lock_guard guard(changes.mutex);
  return std::exchange(changes.rows, {});
}

bool tryToRegister(const char *database, Changes &changes) {
  orv_db_retry_init();  // perhaps there was no notification server when this program began
  const int status = orv_db_register_callback(database, "settings", ORV_DB_ACTION_ALL, &changes, 0, noteChange);
  std::fprintf(stderr, status == ORV_DB_OK ? "told of changes\n" : "not told of changes: status %d\n", status);
  return status == ORV_DB_OK;
}

void print(const Rows &rows) {
  std::cout << "settings:";
  for (const auto &[id, setting] : rows)
    std::cout << ' ' << setting;
  std::cout << std::endl;
}

// False when the database fails; the copy is left as it was then.
bool refresh(Rows &copy, const std::set<RowId> &changed, const Handle &database) try {
  const bool isWhole = changed.count(kWholeTable) != 0;
  Rows rows = isWhole ? Rows() : copy;
  std::string where = isWhole ? "TRUE" : "FALSE";
  for (const RowId row : changed) {
    rows.erase(row);
    where += " OR _id=" + std::to_string(row);
  }
  const Result found = rawQuery(database, "SELECT _id, name, value FROM settings WHERE " + where);
  while (step(found))
    rows[rowIdColumn(found, 0)] = textColumn(found, 1) + '=' + textColumn(found, 2);
  if (rows != copy) print(rows);
  copy.swap(rows);
  return true;
} catch (const std::exception &error) {
  std::fprintf(stderr, "%s\n", error.what());
  return false;
}

}  // namespace

int main(int argc, char **argv) try {
  if (argc != 4) return std::fputs("Usage: cached_table HOST USER DATABASE\n", stderr), 2;
  endOnSignals();
  static Changes &changes = *new Changes;  // never deleted: a call may still be on its way when the program ends
  const Handle database = openDatabase(argv[1], argv[2], argv[3]);
  Rows copy;
  for (bool isRegistered = false, isRight = false; !endIsWanted;) {
    if (!isRegistered) isRegistered = tryToRegister(argv[3], changes);
    std::set<RowId> changed = takeRows(changes);
    if (!isRight) changed.insert(kWholeTable);
    isRight = refresh(copy, changed, database) && isRegistered;
    if (!waitForWakeUp(isRight ? kSecondsTold : kSecondsUntold)) isRight = false;
  }
  orv_db_cancel_callback(argv[3], "settings", ORV_DB_ACTION_ALL);
  return 0;
} catch (const std::exception &error) {
  return std::fprintf(stderr, "cached_table: %s\n", error.what()), 1;
}

// What is said over a connection that is to be broken: a handle is opened and used for one thing.
#pragma once

#include <orvdb_client.h>

#include <ostream>
#include <set>
#include <vector>

#include "support/database.h"

// The number of a run goes into what it writes, so that it can be told from all others. It always takes as many bytes.
using RunNumber = int;
constexpr RunNumber kFirstRun = 1'000'000;

struct Outcome {
  int status;
  bool isWhole = true;     // it is what the status says: all rows of the table, one changed row, nothing
  bool hasWritten = true;  // of a commit: what is to be committed has been accepted
  // How many announcements belong to the statuses.
  int leastAnnouncements = 0;
  int mostAnnouncements = 0;
};

struct Conversation {
  const char *name;
  Outcome (*hold)(_orv_db_handle_t *handle, RunNumber run);
  std::set<int> brokenStatuses;  // that it may give when the connection breaks
  // Does the database hold what was written? Null where nothing is.
  bool (*isDone)(AdminConnection &admin, RunNumber run);
};
std::ostream &operator<<(std::ostream &out, const Conversation &conversation);

// The tables t and afterwards, empty; changed, which has a row for each run; and thousand.
void createTables(AdminConnection &admin, int runs);

const std::vector<Conversation> &conversations();

int insertInto(_orv_db_handle_t *handle, const char *table, RunNumber run);

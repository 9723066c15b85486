// callback_listener COUNT
//
// Listens with the library: to the table, and to others until COUNT registrations are made.
#include <orvdb_client.h>

#include <cstdlib>
#include <string>

#include "listener.h"

namespace {

void changed(const char *, const char *, _orv_db_action_t, unsigned long long rowId, void *) { report(now() - rowId); }

bool registerFor(const std::string &table) {
  return orv_db_register_callback(kDb, table.c_str(), ORV_DB_ACTION_ALL, nullptr, 0, changed) == ORV_DB_OK;
}

}  // namespace

int main(int argc, char **argv) {
  const unsigned long count = argc == 2 ? std::strtoul(argv[1], nullptr, 10) : 0;
  bool isReady = count > 0 && registerFor(kTable);
  for (unsigned long i = 1; i < count && isReady; ++i)
    isReady = registerFor(kTable + std::to_string(i));
  if (!isReady || !reportReady()) return 1;
  pause();  // until a signal ends it
  return 0;
}

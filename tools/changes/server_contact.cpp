#include "changes/server_contact.h"

#include <orvdb_client.h>

#include <cstdio>
#include <functional>
#include <thread>

#include "changes/changes.h"

namespace {

constexpr std::chrono::seconds kInterval{1};

// Only an announcement tells how the library stands with the server. Nobody registers for these names.
int announceToNobody() { return orv_db_notify_change("orvdb_watch", "nobody", ORV_DB_ACTION_ALL, kWholeTable); }

void askAgainAndAgain(ChangeQueue &queue) {
  bool isLost = false;
  for (int status = ORV_DB_OK; status != ORV_DB_GONE;) {
    std::this_thread::sleep_for(kInterval);
    status = announceToNobody();
    if (status == ORV_DB_LOST && !isLost) {
      std::fputs("orvdb: the notification server is gone: changes are missed until it is back\n", stderr);
      isLost = true;
    } else if (status == ORV_DB_OK && isLost) {
      std::fputs("orvdb: the notification server is back: changes may have been missed\n", stderr);
      isLost = false;
    }
  }
  queue.close();
}

}  // namespace

// Not on the thread that reads the signals: a server that does not read holds up who announces.
void keepAnEyeOnServer(ChangeQueue &queue) { std::thread(askAgainAndAgain, std::ref(queue)).detach(); }

// announces_once DATABASE TABLE [--busy]
//
// Announces one change of the table and ends; with --busy it prints "ready" and announces changes of another table,
// until SIGUSR1 comes, first.
#include <orvdb_client.h>
#include <signal.h>

#include <chrono>
#include <iostream>
#include <thread>

namespace {

volatile sig_atomic_t s_isToGoOn = 0;

// Slow enough for its socket to take everything for a while when the server is stopped.
void announceOthers(const char *database) {
  signal(SIGUSR1, [](int) { s_isToGoOn = 1; });
  std::cout << "ready" << std::endl;
  while (s_isToGoOn == 0) {
    orv_db_notify_change(database, "other", ORV_DB_ACTION_INSERT, 1);
    std::this_thread::sleep_for(std::chrono::microseconds(50));
  }
}

}  // namespace

int main(int argc, char **argv) {
  if (argc < 3) return 2;
  if (argc == 4) announceOthers(argv[1]);
  return orv_db_notify_change(argv[1], argv[2], ORV_DB_ACTION_INSERT, 1);
}

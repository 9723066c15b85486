// announces_once DATABASE TABLE [--wait]
//
// Announces one change of the table and ends; with --wait it is connected, prints "ready" and waits for SIGUSR1 first.
#include <orvdb_client.h>
#include <signal.h>

#include <iostream>

int main(int argc, char **argv) {
  if (argc < 3) return 2;
  if (argc == 4) {
    sigset_t go;
    sigemptyset(&go);
    sigaddset(&go, SIGUSR1);
    sigprocmask(SIG_BLOCK, &go, nullptr);
    std::cout << "ready" << std::endl;
    int number = 0;
    sigwait(&go, &number);
  }
  return orv_db_notify_change(argv[1], argv[2], ORV_DB_ACTION_INSERT, 1);
}

// What the main thread of an example waits for: changes, of which a callback tells it from the library's message
// thread, and SIGINT and SIGTERM, which ask the program to end.
#pragma once

#include <orvdb_client.h>
#include <semaphore.h>
#include <signal.h>
#include <time.h>

#include <cerrno>

// The row that a change names. The two constants stand for any number of rows.
using RowId = unsigned long long;
constexpr RowId kWholeTable = 0;
constexpr RowId kUnknownRow = ~RowId{0};

// How long to wait before looking without having been woken: while changes are announced, in case that one was not, and
// while they are not.
constexpr int kSecondsTold = 60;
constexpr int kSecondsUntold = 1;

inline sem_t wakeUps;
inline volatile sig_atomic_t endIsWanted = 0;

// Of what threads and signal handlers may call alike, sem_post() is the one that wakes somebody.
inline void wakeUp() { sem_post(&wakeUps); }

extern "C" inline void wakeUpToEnd(int /*signal*/) {
  endIsWanted = 1;
  wakeUp();
}

// To be called first, before anybody can wake anybody.
inline void endOnSignals() {
  sem_init(&wakeUps, 0, 0);
  struct sigaction action {};
  action.sa_handler = wakeUpToEnd;
  action.sa_flags = SA_RESTART;
  for (const int signal : {SIGINT, SIGTERM})
    sigaction(signal, &action, nullptr);
}

// A callback for those who need not know what has changed.
inline void wakeUpOnChange(const char *, const char *, _orv_db_action_t, RowId, void *) { wakeUp(); }

// False when nobody has called wakeUp() for so long. Calls that came before count: none is missed between two waits.
inline bool waitForWakeUp(int seconds) {
  timespec until{};
  clock_gettime(CLOCK_REALTIME, &until);
  until.tv_sec += seconds;
  while (sem_timedwait(&wakeUps, &until) != 0) {
    if (errno != EINTR) return false;
  }
  // What all of them wanted is looked at once.
  while (sem_trywait(&wakeUps) == 0)
    continue;
  return true;
}

// What the programs of the soak run have in common. Each is started with the words CONNECTION DATABASE TALLY; it goes
// on through every failure of the two servers, as a program of a device has to, and ends with status 0 on SIGTERM.
#pragma once

#include <signal.h>

#include <chrono>
#include <exception>
#include <iostream>
#include <string>
#include <thread>

#include "demo_database.h"
#include "soak/tables.h"
#include "soak/tally.h"

constexpr int kClientWords = 4;

// Thrown out of whatever the program waits for.
struct Ended {};

class Client {
 public:
  explicit Client(char **argv) : connectionFile_(argv[1]), database_(argv[2]), tally_(argv[3]) {
    signal(SIGTERM, [](int) { s_isToEnd = 1; });
  }

  const char *database() const { return database_.c_str(); }
  Tally &tally() const { return *tally_; }

  static void throwIfEnded() {
    if (s_isToEnd != 0) throw Ended();
  }

  static void sleep(std::chrono::milliseconds span) {
    throwIfEnded();
    std::this_thread::sleep_for(span);
  }

  // Tries until it succeeds: until it returns true and throws nothing.
  template <class Attempt>
  static void persist(Attempt attempt) {
    while (!succeeds(attempt))
      sleep(std::chrono::milliseconds(200));
  }

  Handle open() const {
    Handle handle;
    persist([&] {
      handle = openDatabase(connectionFile_, database_);
      return true;
    });
    return handle;
  }

  // The client of a child that was forked while there was no server is started by an announcement, and by nothing else:
  // here by one that nobody hears.
  void registerFor(const char *table, _orv_db_action_t action, void *data, orv_db_change_cb callback) const {
    persist([&] {
      if (orv_db_retry_init() != ORV_DB_OK) return false;
      const int status = orv_db_register_callback(database(), table, action, data, 0, callback);
      if (status == ORV_DB_GONE) orv_db_notify_change(database(), kDrafts, ORV_DB_ACTION_UPDATE, kUnknownRow);
      return status == ORV_DB_OK;
    });
  }

  // Nobody knows whether a write that failed was done: this tells the others to look, once there is something to see.
  void tellOfFailure(const Handle &handle, const char *table) const {
    ++tally().refused;
    persist([&] { return orv_db_test_connection(handle.get()) == ORV_DB_OK; });
    orv_db_notify_change(database(), table, ORV_DB_ACTION_ALL, kWholeTable);
  }

  // Before each write.
  void waitWhilePaused() const {
    while (tally().isPaused != 0) {
      tally().isResting = 1;
      sleep(std::chrono::milliseconds(20));
    }
    tally().isResting = 0;
  }

 private:
  template <class Attempt>
  static bool succeeds(Attempt attempt) {
    try {
      return attempt();
    } catch (const std::exception &) {
      return false;
    }
  }

  static inline volatile sig_atomic_t s_isToEnd = 0;

  const std::string connectionFile_;
  const std::string database_;
  const MappedTally tally_;
};

// The whole of a program: `run` takes the client and ends by an exception.
template <class Run>
int runClient(Run run) {
  try {
    run();
  } catch (const Ended &) {
  } catch (const std::exception &problem) {
    std::cerr << problem.what() << std::endl;
    return 1;
  }
  return 0;
}

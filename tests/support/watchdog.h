// Ends the process when one of its threads stays at one place for too long, and says where all of them are.
//
//   Watchdog watchdog;                    // of a test
//   ...
//   WatchedThread here(watchdog, "writer 3");
//   here.at("insert");                    // from now on; at("") is a place where a thread may stay
//
// A place is a literal: nothing is allocated. What is said: each thread's name, its place and for how long, then the
// stack of each watched thread.
#pragma once

#include <sys/types.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <list>
#include <mutex>
#include <string>
#include <thread>

#include "support/wait.h"

class Watchdog {
 public:
  explicit Watchdog(std::chrono::seconds patience = 2 * kPatience);
  ~Watchdog();
  Watchdog(const Watchdog &) = delete;
  Watchdog &operator=(const Watchdog &) = delete;

 private:
  friend class WatchedThread;

  struct Entry {
    std::string name;
    pid_t thread;
    std::atomic<const char *> place{""};
    std::atomic<std::chrono::steady_clock::rep> since{0};
  };

  void run();
  const Entry *latecomer() const;
  [[noreturn]] void giveUp(const Entry &late) const;

  const std::chrono::seconds patience_;
  mutable std::mutex mutex_;
  std::condition_variable over_;
  bool isOver_ = false;
  std::list<Entry> entries_;
  std::thread thread_;
};

class WatchedThread {
 public:
  WatchedThread(Watchdog &watchdog, std::string name);
  ~WatchedThread();
  WatchedThread(const WatchedThread &) = delete;
  WatchedThread &operator=(const WatchedThread &) = delete;

  void at(const char *place);

 private:
  Watchdog &watchdog_;
  std::list<Watchdog::Entry>::iterator entry_;
};

// Eight threads that use the library again and again, in every way: announcing, registering and cancelling, opening and
// closing, querying, writing. Each expects that whatever it does succeeds, and that it keeps its connection.
#pragma once

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "stress/fork_gate.h"
#include "support/watchdog.h"

class BusyThreads {
 public:
  // Returns once each has done its work for the first time.
  BusyThreads(const std::string &db, bool overTls, ForkGate &gate, Watchdog &watchdog);
  ~BusyThreads();
  BusyThreads(const BusyThreads &) = delete;
  BusyThreads &operator=(const BusyThreads &) = delete;

  // Ends them. Gives how many rounds of work they did in all.
  int finish();

 private:
  template <class Work>
  void start(const char *name, Work work);

  const std::string db_;
  ForkGate &gate_;
  Watchdog &watchdog_;
  std::atomic<bool> enough_{false};
  std::atomic<int> atWork_{0};
  std::atomic<int> rounds_{0};
  std::vector<std::thread> threads_;
};

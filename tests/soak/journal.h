// The files that a run leaves for its judge and its plots; each line is written at once.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <string>

#include "soak/tally.h"

class RunJournal {
 public:
  explicit RunJournal(const std::filesystem::path &folder);

  // Since the start of the run.
  double seconds() const;
  void event(const std::string &what, const std::string &detail = "");
  // What the process needs at this moment and has counted so far; nothing if it is just ending.
  void sample(const std::string &process, pid_t pid, const Tally &tally);

 private:
  const std::chrono::steady_clock::time_point begin_ = std::chrono::steady_clock::now();
  std::ofstream events_;
  std::ofstream samples_;
};

// A program under test, in a process of its own.
//
//   Program server({kServerProgram, "--socket", path}, folder / "server.log");
//   server.signal(SIGTERM);
//   EXPECT_EQ(server.waitForExit(), 0);
#pragma once

#include <sys/types.h>

#include <chrono>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "support/wait.h"

class Program {
 public:
  // What the program prints goes to the file `output`. It does not outlive the test.
  Program(const std::vector<std::string> &command, std::filesystem::path output);
  Program(Program &&other) noexcept;
  Program &operator=(Program &&) = delete;
  ~Program();

  pid_t pid() const { return pid_; }
  void signal(int number) const;

  bool isRunning();
  // Returns the exit status, or 128 and the signal that ended the program. Throws when it does not end in time.
  int waitForExit(std::chrono::seconds patience = kPatience);

  // What the program has printed so far.
  std::string output() const;
  // Throws when it does not print this in time, or has ended without.
  void waitForOutput(const std::string &text);

 private:
  std::filesystem::path output_;
  pid_t pid_ = -1;
  std::optional<int> exitStatus_;
};

std::string readFile(const std::filesystem::path &path);

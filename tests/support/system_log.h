// The system log of this test: it is /dev/log of the private root, so the machine's log sees nothing.
//
//   SystemLog log;
//   runAs("QZ_test", LogsOneLine);
//   EXPECT_EQ(log.lines(), ...);
//
// A program's line is here as soon as its call of syslog() has returned, so lines() after a program's end is complete:
// an empty answer is proof that nothing was logged.
#pragma once

#include <string>
#include <vector>

#include "support/unique_fd.h"
#include "support/wait.h"

struct LogLine {
  int priority;         // facility and level, as in syslog()
  std::string program;  // its base name, as the C library writes it
  std::string text;
};

class SystemLog {
 public:
  SystemLog();
  ~SystemLog();
  SystemLog(const SystemLog &) = delete;
  SystemLog &operator=(const SystemLog &) = delete;

  // All lines up to now, from the beginning. One call of syslog() is one line, line breaks in it are kept.
  const std::vector<LogLine> &lines();
  // The texts alone.
  std::vector<std::string> texts();
  // The first line whose text contains `part`; throws a std::runtime_error if none comes in time.
  LogLine waitForLine(const std::string &part, std::chrono::milliseconds patience = kPatience);

 private:
  UniqueFd socket_;
  std::vector<LogLine> lines_;
};

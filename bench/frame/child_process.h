// A program that takes part in a measurement. It ends with its owner, and with this process.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

#include "frame/pinning.h"

class ChildProcess {
 public:
  // `input` and `output` become its standard input and output, unless they are negative.
  ChildProcess(std::vector<std::string> command, Role role, int input = -1, int output = -1);
  ChildProcess(ChildProcess &&other) noexcept;
  ChildProcess &operator=(ChildProcess &&) = delete;
  ~ChildProcess();

  pid_t pid() const { return m_pid; }

 private:
  pid_t m_pid;
};

// What a program prints on its standard output. Throws when it fails.
std::string outputOf(const std::vector<std::string> &command);

#include "shell.h"

#include <sys/wait.h>

#include <array>
#include <cstdio>
#include <stdexcept>

ShellOutcome shell(const std::string &commandLine) {
  FILE *pipe = popen(("exec 2>&1; " + commandLine).c_str(), "re");
  if (pipe == nullptr) throw std::runtime_error("no shell");
  ShellOutcome outcome{};
  std::array<char, 4096> buffer;
  std::size_t length = 0;
  while ((length = fread(buffer.data(), 1, buffer.size(), pipe)) > 0)
    outcome.output.append(buffer.data(), length);
  const int status = pclose(pipe);
  outcome.status = WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
  return outcome;
}

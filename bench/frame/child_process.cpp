#include "frame/child_process.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <stdexcept>
#include <utility>

#include "support/unique_fd.h"

namespace {

// Not by fork(), which would start the library anew in the child.
pid_t spawn(const std::vector<std::string> &command, int input, int output) {
  std::vector<char *> words;
  words.reserve(command.size() + 1);
  for (const std::string &word : command)
    words.push_back(const_cast<char *>(word.c_str()));
  words.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  if (input >= 0) posix_spawn_file_actions_adddup2(&actions, input, STDIN_FILENO);
  if (output >= 0) posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
  pid_t pid = -1;
  const int failed = posix_spawnp(&pid, words[0], &actions, nullptr, words.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  if (failed != 0) throw std::runtime_error("cannot start " + command[0]);
  return pid;
}

std::vector<std::string> endingWithThisProcess(std::vector<std::string> command) {
  const std::vector<std::string> words{"setpriv", "--pdeathsig", "KILL", "--"};
  command.insert(command.begin(), words.begin(), words.end());
  return command;
}

}  // namespace

ChildProcess::ChildProcess(std::vector<std::string> command, Role role, int input, int output)
    : m_pid(spawn(endingWithThisProcess(std::move(command)), input, output)) {
  pinProcess(m_pid, role);
}

ChildProcess::ChildProcess(ChildProcess &&other) noexcept : m_pid(std::exchange(other.m_pid, -1)) {}

ChildProcess::~ChildProcess() {
  if (m_pid < 0) return;
  kill(m_pid, SIGTERM);
  waitpid(m_pid, nullptr, 0);
}

std::string outputOf(const std::vector<std::string> &command) {
  std::array<int, 2> ends{};
  if (pipe2(ends.data(), O_CLOEXEC) != 0) throw std::runtime_error("cannot make a pipe");
  const UniqueFd readEnd(ends[0]);
  UniqueFd writeEnd(ends[1]);
  const pid_t pid = spawn(endingWithThisProcess(command), -1, writeEnd.get());
  writeEnd.reset();
  std::string output;
  std::array<char, 4096> piece;
  for (ssize_t count; (count = read(readEnd.get(), piece.data(), piece.size())) > 0;)
    output.append(piece.data(), static_cast<std::size_t>(count));
  int status = 0;
  waitpid(pid, &status, 0);
  if (status != 0) throw std::runtime_error(command[0] + " has failed");
  return output;
}

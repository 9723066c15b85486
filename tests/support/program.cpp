#include "support/program.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace {

constexpr int kCannotRun = 127;

[[noreturn]] void runInChild(const std::vector<char *> &words, int output) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  dup2(output, STDOUT_FILENO);
  dup2(output, STDERR_FILENO);
  execv(words[0], words.data());
  _exit(kCannotRun);
}

}  // namespace

Program::Program(const std::vector<std::string> &command, std::filesystem::path output) : output_(std::move(output)) {
  std::vector<char *> words;
  words.reserve(command.size() + 1);
  for (const std::string &word : command) {
    words.push_back(const_cast<char *>(word.c_str()));
  }
  words.push_back(nullptr);
  const int file = open(output_.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_APPEND | O_CLOEXEC, 0600);
  pid_ = file < 0 ? -1 : fork();
  if (pid_ < 0) throw std::system_error(errno, std::generic_category(), "start " + command[0]);
  if (pid_ == 0) runInChild(words, file);
  close(file);
}

Program::Program(Program &&other) noexcept
    : output_(std::move(other.output_)), pid_(std::exchange(other.pid_, -1)), exitStatus_(other.exitStatus_) {}

Program::~Program() {
  if (pid_ < 0 || exitStatus_) return;
  kill(pid_, SIGKILL);
  waitpid(pid_, nullptr, 0);
}

void Program::signal(int number) const { kill(pid_, number); }

bool Program::isRunning() {
  int status = 0;
  if (!exitStatus_ && waitpid(pid_, &status, WNOHANG) == pid_) {
    exitStatus_ = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  }
  return !exitStatus_;
}

int Program::waitForExit(std::chrono::seconds patience) {
  if (!waitUntil([this] { return !isRunning(); }, patience))
    throw std::runtime_error("a program does not end:\n" + this->output());
  return *exitStatus_;
}

std::string Program::output() const { return readFile(output_); }

void Program::waitForOutput(const std::string &text) {
  const bool printed = waitUntil([&] {
    if (output().find(text) != std::string::npos) return true;
    if (!isRunning()) throw std::runtime_error("a program has ended:\n" + output());
    return false;
  });
  if (!printed) throw std::runtime_error("not printed: " + text + '\n' + output());
}

std::string readFile(const std::filesystem::path &path) {
  std::ostringstream text;
  text << std::ifstream(path).rdbuf();
  return text.str();
}

#include "support/child_program.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <map>
#include <sstream>
#include <stdexcept>
#include <system_error>

#include "support/emulator.h"

namespace {

namespace fs = std::filesystem;

constexpr char kChildProgramOption[] = "--run-child-program";

[[noreturn]] void fail(const std::string &what) { throw std::system_error(errno, std::generic_category(), what); }

// A function's object, because programs are registered while the static objects are made.
std::map<std::string, RegisteredProgram::Body> &programs() {
  static std::map<std::string, RegisteredProgram::Body> programs;
  return programs;
}

// A copy, since neither a link across file systems nor a symbolic one would give the child another name. Each copy has
// a folder of its own: a program that runs cannot be written again.
fs::path executableNamed(const std::string &name) {
  fs::path self = fs::read_symlink("/proc/self/exe");
  if (name.empty()) return self;
  std::string folder = "/tmp/renamed.XXXXXX";
  if (mkdtemp(folder.data()) == nullptr) fail("mkdtemp");
  fs::copy_file(self, fs::path(folder) / name);
  return fs::path(folder) / name;
}

std::vector<std::string> wrapperWords() {
  const char *wrapper = std::getenv("ORVDB_TEST_WRAPPER");
  std::istringstream words(wrapper == nullptr ? "" : wrapper);
  return {std::istream_iterator<std::string>(words), {}};
}

std::vector<std::string> commandOf(const fs::path &executable, const RegisteredProgram &program,
                                   const ProgramArguments &arguments) {
  std::vector<std::string> command = wrapperWords();
  const std::vector<std::string> emulator = emulatorWords();
  command.insert(command.end(), emulator.begin(), emulator.end());
  command.insert(command.end(), {executable, kChildProgramOption, program.name()});
  command.insert(command.end(), arguments.begin(), arguments.end());
  return command;
}

std::string nameOf(const std::string &assignment) { return assignment.substr(0, assignment.find('=')); }

// This process's environment with the given variables in place of those of the same name.
std::vector<std::string> environmentWith(const std::vector<std::string> &assignments) {
  std::map<std::string, std::string> byName;
  for (char **entry = environ; *entry != nullptr; ++entry)
    byName[nameOf(*entry)] = *entry;
  for (const std::string &assignment : assignments)
    byName[nameOf(assignment)] = assignment;
  std::vector<std::string> all;
  for (const auto &[name, assignment] : byName)
    all.push_back(assignment);
  return all;
}

std::vector<char *> pointers(std::vector<std::string> &words) {
  std::vector<char *> all;
  for (std::string &word : words)
    all.push_back(word.data());
  all.push_back(nullptr);
  return all;
}

}  // namespace

bool operator==(const Ending &left, const Ending &right) {
  return left.exitStatus == right.exitStatus && left.signal == right.signal;
}

std::ostream &operator<<(std::ostream &out, const Ending &ending) {
  if (ending.signal == 0) return out << "exit status " << ending.exitStatus;
  return out << "signal " << ending.signal << " (" << strsignal(ending.signal) << ')';
}

RegisteredProgram::RegisteredProgram(std::string name, Body body) : name_(std::move(name)) {
  if (!programs().emplace(name_, body).second) throw std::logic_error("two child programs are named " + name_);
}

ChildProgram::ChildProgram(const RegisteredProgram &program, const ProgramArguments &arguments)
    : ChildProgram(program, arguments, Setting{}) {}

ChildProgram::ChildProgram(const RegisteredProgram &program, const ProgramArguments &arguments,
                           const Setting &setting) {
  std::vector<std::string> command = setting.launcher;
  const std::vector<std::string> words = commandOf(executableNamed(setting.executableName), program, arguments);
  command.insert(command.end(), words.begin(), words.end());
  start(command, environmentWith(setting.environment));
}

// The output goes to a file in memory: a child that writes much does not block, and one that outlives its parent holds
// up nobody who reads.
void ChildProgram::start(const std::vector<std::string> &command, const std::vector<std::string> &environment) {
  int ends[2];
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) fail("socketpair");
  input_ = UniqueFd(ends[0]);
  const UniqueFd childsInput(ends[1]);
  output_ = UniqueFd(memfd_create("output", MFD_CLOEXEC));
  if (!output_ || fcntl(output_.get(), F_SETFL, O_APPEND) != 0) fail("memfd_create");

  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, childsInput.get(), STDIN_FILENO);
  posix_spawn_file_actions_adddup2(&actions, output_.get(), STDOUT_FILENO);
  posix_spawn_file_actions_adddup2(&actions, output_.get(), STDERR_FILENO);
  std::vector<std::string> words = command;
  std::vector<std::string> variables = environment;
  const int problem =
      posix_spawnp(&pid_, words[0].c_str(), &actions, nullptr, pointers(words).data(), pointers(variables).data());
  posix_spawn_file_actions_destroy(&actions);
  if (problem != 0) throw std::system_error(problem, std::generic_category(), "start " + words[0]);
}

ChildProgram::~ChildProgram() {
  if (ended_) return;
  ::kill(pid_, SIGKILL);
  waitpid(pid_, &status_, 0);
}

std::string ChildProgram::output() const {
  std::string text;
  char buffer[4096];
  ssize_t length = 0;
  while ((length = pread(output_.get(), buffer, sizeof buffer, static_cast<off_t>(text.size()))) > 0) {
    text.append(buffer, static_cast<std::size_t>(length));
  }
  return withoutEmulatorsLines(text);
}

void ChildProgram::waitForOutput(const std::string &part, std::chrono::milliseconds patience) const {
  if (waitUntil([&] { return output().find(part) != std::string::npos; }, patience)) return;
  throw std::runtime_error("the child program did not write in time \"" + part + "\", but: " + output());
}

Ending ChildProgram::wait(std::chrono::milliseconds patience) {
  ended_ = ended_ || waitUntil([&] { return waitpid(pid_, &status_, WNOHANG) == pid_; }, patience);
  if (!ended_) throw std::runtime_error("the child program did not end in time; its output: " + output());
  return WIFSIGNALED(status_) ? killedBy(WTERMSIG(status_)) : exited(WEXITSTATUS(status_));
}

void ChildProgram::writeInput(const std::string &text) {
  const ssize_t written = send(input_.get(), text.data(), text.size(), MSG_NOSIGNAL);
  if (written != static_cast<ssize_t>(text.size())) fail("write to the child program");
}

void ChildProgram::kill(int signal) const {
  if (!ended_) ::kill(pid_, signal);
}

Ending runAs(const std::string &executableName, const RegisteredProgram &program, const ProgramArguments &arguments) {
  ChildProgram child(program, arguments, {executableName, {}, {}});
  const Ending ending = child.wait();
  std::cout << child.output() << std::flush;
  return ending;
}

Ending run(const RegisteredProgram &program, const ProgramArguments &arguments) {
  return runAs("", program, arguments);
}

void become(const RegisteredProgram &program, const ProgramArguments &arguments) {
  std::vector<std::string> command = commandOf(executableNamed(""), program, arguments);
  execvp(command[0].c_str(), pointers(command).data());
  _exit(127);
}

bool isChildProgram(int argc, char **argv) { return argc >= 3 && std::strcmp(argv[1], kChildProgramOption) == 0; }

int childProgramMain(int argc, char **argv) {
  ::testing::InitGoogleTest();
  const auto found = programs().find(argv[2]);
  if (found == programs().end()) throw std::logic_error("no child program is named " + std::string(argv[2]));
  const int status = found->second(ProgramArguments(argv + 3, argv + argc));
  return status == 0 && ::testing::Test::HasFailure() ? 1 : status;
}

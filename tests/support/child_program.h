// Programs of their own inside a test executable, for what needs a fresh process: another executable name, a library
// load with a server already there, an exit, a crash.
//
//   CHILD_PROGRAM(LogsOneLine) {                       // at namespace scope; gets `arguments`, returns the exit status
//     db_api_log("%s", arguments.at(0).c_str());
//     return 0;
//   }
//   ...
//   EXPECT_EQ(runAs("QZ_test", LogsOneLine, {"text"}), exited(0));
//
//   ChildProgram child(WaitsThenWrites);               // runs beside the test, under this executable's own name
//   child.waitForOutput("ready\n");
//   child.writeInput("go\n");
//   EXPECT_EQ(child.wait(), exited(0)) << child.output();
//
// The child is this executable, executed anew (nothing is forked with the library's fork handlers), so the library is
// loaded before the body runs. It runs in the test's private root and sees the test's peer and log. Under valgrind,
// the child runs under valgrind too. GoogleTest's macros work in a body: a failed expectation gives exit status 1.
// A child that is still there at the end of its ChildProgram is killed.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <ostream>
#include <string>
#include <vector>

#include "support/unique_fd.h"
#include "support/wait.h"

using ProgramArguments = std::vector<std::string>;

// How a process ended.
struct Ending {
  int exitStatus;  // -1 if a signal ended it
  int signal;      // 0 if it exited
};
inline Ending exited(int status) { return {status, 0}; }
inline Ending killedBy(int signal) { return {-1, signal}; }
bool operator==(const Ending &left, const Ending &right);
std::ostream &operator<<(std::ostream &out, const Ending &ending);

// A body with its name; made by CHILD_PROGRAM.
class RegisteredProgram {
 public:
  using Body = int (*)(const ProgramArguments &arguments);

  RegisteredProgram(std::string name, Body body);
  const std::string &name() const { return name_; }

 private:
  std::string name_;
};

#define CHILD_PROGRAM(name)                                 \
  static int name##Body(const ProgramArguments &arguments); \
  static const RegisteredProgram name(#name, name##Body);   \
  static int name##Body([[maybe_unused]] const ProgramArguments &arguments)

class ChildProgram {
 public:
  struct Setting {
    // Base name of the executable that the child sees as its own; it is a copy in /tmp. Empty: no copy.
    std::string executableName;
    // "NAME=value", over those of this process.
    std::vector<std::string> environment;
    // Words before the child's command.
    std::vector<std::string> launcher;
  };

  explicit ChildProgram(const RegisteredProgram &program, const ProgramArguments &arguments = {});
  ChildProgram(const RegisteredProgram &program, const ProgramArguments &arguments, const Setting &setting);
  ~ChildProgram();
  ChildProgram(const ChildProgram &) = delete;
  ChildProgram &operator=(const ChildProgram &) = delete;

  pid_t pid() const { return pid_; }
  // What the child has written up to now to standard output and error.
  std::string output() const;
  // Both throw a std::runtime_error, with the output, if it does not come in time.
  void waitForOutput(const std::string &part, std::chrono::milliseconds patience = kPatience) const;
  Ending wait(std::chrono::milliseconds patience = kPatience);

  void writeInput(const std::string &text);
  void closeInput() { input_.reset(); }
  void kill(int signal) const;

 private:
  void start(const std::vector<std::string> &command, const std::vector<std::string> &environment);

  pid_t pid_ = -1;
  bool ended_ = false;
  int status_ = 0;
  UniqueFd input_;
  UniqueFd output_;
};

// Runs the program to its end under another executable name. What it has written appears in the test's own output.
Ending runAs(const std::string &executableName, const RegisteredProgram &program,
             const ProgramArguments &arguments = {});
// The same under this executable's own name.
Ending run(const RegisteredProgram &program, const ProgramArguments &arguments = {});

// In a forked child: goes on as the program, under this executable's own name.
[[noreturn]] void become(const RegisteredProgram &program, const ProgramArguments &arguments = {});

// For main(): whether this process is to be a child program, and then its exit status.
bool isChildProgram(int argc, char **argv);
int childProgramMain(int argc, char **argv);

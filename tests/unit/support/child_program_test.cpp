#include "support/child_program.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <stdexcept>
#include <string>

#include "support/process.h"

namespace {

using namespace std::chrono_literals;

CHILD_PROGRAM(SaysItsName) {
  std::cout << std::filesystem::read_symlink("/proc/self/exe").filename().string();
  return 0;
}

CHILD_PROGRAM(SaysItsArguments) {
  for (const std::string &argument : arguments)
    std::cout << '<' << argument << '>';
  std::cerr << "!";
  return static_cast<int>(arguments.size());
}

CHILD_PROGRAM(SaysAVariable) {
  std::cout << std::getenv(arguments.at(0).c_str());
  return 0;
}

CHILD_PROGRAM(Repeats) {
  for (std::string line; std::getline(std::cin, line);)
    std::cout << line << line << std::endl;
  return 0;
}

CHILD_PROGRAM(Aborts) { abort(); }

CHILD_PROGRAM(ExpectsWhatIsNot) {
  EXPECT_EQ(1, 2);
  return 0;
}

CHILD_PROGRAM(LeavesAProcessBehind) {
  const pid_t left = fork();
  if (left == 0) {
    pause();
    _exit(0);
  }
  std::cout << left;
  return 0;
}

std::string outputOf(const RegisteredProgram &program, const ProgramArguments &arguments,
                     const ChildProgram::Setting &setting) {
  ChildProgram child(program, arguments, setting);
  EXPECT_EQ(child.wait(), exited(0));
  return child.output();
}

}  // namespace

TEST(ChildProgramTest, SeesTheExecutableNameItIsGiven) {
  EXPECT_EQ(outputOf(SaysItsName, {}, {"QZ_test", {}, {}}), "QZ_test");
  EXPECT_EQ(outputOf(SaysItsName, {}, {"QZtest", {}, {}}), "QZtest");
  EXPECT_EQ(outputOf(SaysItsName, {}, {}), std::filesystem::read_symlink("/proc/self/exe").filename());
}

TEST(ChildProgramTest, GetsArgumentsAndGivesItsStatusAndAllItsOutput) {
  ChildProgram child(SaysItsArguments, {"a b", "", "--gtest_filter=x"});
  EXPECT_EQ(child.wait(), exited(3));
  EXPECT_EQ(child.output(), "<a b><><--gtest_filter=x>!");
}

TEST(ChildProgramTest, SeesTheEnvironmentItIsGiven) {
  setenv("ORVDB_A", "inherited", 1);
  EXPECT_EQ(outputOf(SaysAVariable, {"ORVDB_A"}, {}), "inherited");
  EXPECT_EQ(outputOf(SaysAVariable, {"ORVDB_A"}, {{}, {"ORVDB_A=given"}, {}}), "given");
}

TEST(ChildProgramTest, IsLaunchedAsTold) {
  EXPECT_EQ(outputOf(SaysAVariable, {"ORVDB_B"}, {{}, {}, {"env", "ORVDB_B=launched"}}), "launched");
}

TEST(ChildProgramTest, ConversesWithTheTest) {
  ChildProgram child(Repeats);
  child.writeInput("a\n");
  child.waitForOutput("aa\n");
  child.writeInput("b\n");
  child.waitForOutput("bb\n");
  child.closeInput();
  EXPECT_EQ(child.wait(), exited(0));
  EXPECT_EQ(child.output(), "aa\nbb\n");
}

TEST(ChildProgramTest, WaitingHasADeadline) {
  ChildProgram child(Repeats);
  EXPECT_THROW(child.waitForOutput("never", 10ms), std::runtime_error);
  EXPECT_THROW(child.wait(10ms), std::runtime_error);
}

TEST(ChildProgramTest, TellsTheSignalThatEndedIt) {
  EXPECT_EQ(run(Aborts), killedBy(SIGABRT));
  ChildProgram child(Repeats);
  child.kill(SIGTERM);
  EXPECT_EQ(child.wait(), killedBy(SIGTERM));
}

TEST(ChildProgramTest, FailsWithAFailedExpectation) {
  ChildProgram child(ExpectsWhatIsNot);
  EXPECT_EQ(child.wait(), exited(1));
  EXPECT_NE(child.output().find("Failure"), std::string::npos) << child.output();
}

TEST(ChildProgramTest, DoesNotOutliveItsObject) {
  pid_t pid = 0;
  {
    const ChildProgram child(Repeats);
    pid = child.pid();
    EXPECT_TRUE(isRunning(pid));
  }
  EXPECT_FALSE(isRunning(pid));
}

TEST(ChildProgramTest, IsNotHeldUpByAProcessThatItLeavesBehind) {
  ChildProgram child(LeavesAProcessBehind);
  EXPECT_EQ(child.wait(), exited(0));
  const pid_t left = std::stoi(child.output());
  EXPECT_TRUE(isRunning(left));
  kill(left, SIGKILL);
}

// orvdb on a database of the test's own.
//
//   EXPECT_EQ(run(onDatabase("sql", {"SELECT 1"})), (Answer{0, "...", ""}));
#pragma once

#include <filesystem>
#include <ostream>
#include <string>
#include <vector>

#include "support/database.h"
#include "support/program.h"
#include "support/temporary_folder.h"

using Words = std::vector<std::string>;

struct Answer {
  int status;
  std::string output;
  std::string errors;
};
bool operator==(const Answer &left, const Answer &right);
std::ostream &operator<<(std::ostream &out, const Answer &answer);

// One that runs beside the test.
class RunningTool {
 public:
  // `input` is what it can read.
  RunningTool(const std::filesystem::path &folder, const Words &words, const std::string &input = "");

  void signal(int number) const { program_.signal(number); }
  std::string output() const { return program_.output(); }
  std::string errors() const { return readFile(errors_); }
  void waitForOutput(const std::string &text) { program_.waitForOutput(text); }
  Answer waitForEnd();

 private:
  const std::filesystem::path errors_;
  Program program_;
};

class ToolTest : public DatabaseTest {
 public:
  // The password is in the environment of all programs.
  ToolTest();

 protected:
  RunningTool start(const Words &words, const std::string &input = "") const;
  Answer run(const Words &words, const std::string &input = "") const { return start(words, input).waitForEnd(); }

  // The command with the options that lead to the server, and to the test's database.
  Words onServer(const std::string &command, const Words &more = {}) const;
  Words onDatabase(const std::string &command, const Words &more = {}) const;
  // The command with the database's name alone.
  Words withName(const std::string &command, const Words &more) const;
  // Watches from when it returns.
  RunningTool startWatch(const Words &more) const;

  Program startServer() const;
  std::string statusPath() const { return folder() / "status.sock"; }
  const std::filesystem::path &folder() const { return folder_.path(); }

 private:
  const TemporaryFolder folder_;
};

// With a notification server.
class NotifiedToolTest : public ToolTest {
 protected:
  const Program server_ = startServer();
};

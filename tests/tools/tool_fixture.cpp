#include "tools/tool_fixture.h"

#include <stdlib.h>

#include <fstream>
#include <stdexcept>

namespace {

// A name for each program that a test starts.
std::filesystem::path newFile(const std::filesystem::path &folder, const std::string &kind) {
  static int count = 0;
  return folder / (kind + std::to_string(++count));
}

std::filesystem::path written(const std::filesystem::path &path, const std::string &text) {
  std::ofstream(path, std::ios::binary) << text;
  return path;
}

// The shell keeps the two outputs apart, and is the program then.
Words redirected(const Words &words, const std::string &errors, const std::string &input) {
  Words command{"/bin/sh", "-c",      R"(errors=$1 input=$2; shift 2; exec "$@" 2>"$errors" <"$input")", "sh", errors,
                input,     ORVDB_TOOL};
  command.insert(command.end(), words.begin(), words.end());
  return command;
}

Words joined(Words first, const Words &second) {
  first.insert(first.end(), second.begin(), second.end());
  return first;
}

}  // namespace

bool operator==(const Answer &left, const Answer &right) {
  return left.status == right.status && left.output == right.output && left.errors == right.errors;
}

std::ostream &operator<<(std::ostream &out, const Answer &answer) {
  return out << "status " << answer.status << "\n--- output:\n" << answer.output << "--- errors:\n" << answer.errors;
}

RunningTool::RunningTool(const std::filesystem::path &folder, const Words &words, const std::string &input)
    : errors_(newFile(folder, "errors")),
      program_(redirected(words, errors_, written(newFile(folder, "input"), input)), newFile(folder, "output")) {}

Answer RunningTool::waitForEnd() {
  const int status = program_.waitForExit();
  return {status, output(), errors()};
}

ToolTest::ToolTest() { setenv("MYSQL_PWD", password(), 1); }

RunningTool ToolTest::start(const Words &words, const std::string &input) const { return {folder(), words, input}; }

Words ToolTest::onServer(const std::string &command, const Words &more) const {
  return joined({command, "-h", host(), "-P", std::to_string(port()), "-u", user()}, more);
}

Words ToolTest::onDatabase(const std::string &command, const Words &more) const {
  return onServer(command, joined({"-d", db()}, more));
}

Words ToolTest::withName(const std::string &command, const Words &more) const {
  return joined({command, "-d", db()}, more);
}

RunningTool ToolTest::startWatch(const Words &more) const {
  RunningTool watch = start(withName("watch", more));
  const bool watches = waitUntil([&] { return watch.errors().find('\n') != std::string::npos; });
  if (!watches || watch.errors().rfind("watching ", 0) != 0) throw std::runtime_error("no watch: " + watch.errors());
  return watch;
}

Program ToolTest::startServer() const {
  Program server({ORVDB_SERVER_PROGRAM, "--resync=never", "--status=" + statusPath()}, newFile(folder(), "server"));
  server.waitForOutput("listening on");
  return server;
}

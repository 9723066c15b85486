// The examples as somebody runs them: with a database that has their tables, a notification server, and the password in
// the environment. The test itself is a process that uses the library, too: what it writes through handle() is
// announced.
#pragma once

#include <orvdb_client.h>

#include <filesystem>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "support/database.h"
#include "support/handle.h"
#include "support/program.h"
#include "support/server_status.h"
#include "support/temporary_folder.h"

using Words = std::vector<std::string>;

class ExampleTest : public DatabaseTest {
 protected:
  ExampleTest();

  // Without reminders: whoever is told is so because somebody has announced something. A test of restarts takes them.
  void startServer(const Words &options = {"--resync=never"});
  void killServer();
  // Whether so many registrations are there in time.
  bool waitForRegistrations(std::size_t count) const;
  std::uint64_t registrations() const { return ServerStatus(statusPath()).number("registered_keys"); }

  // Starts an example with HOST, USER and DATABASE and further arguments.
  Program start(const std::string &example, const Words &arguments = {});
  // The same to its end; gives its exit status.
  int run(const std::string &example, const Words &arguments = {});

  // With the notification server that is there now.
  const Handle &handle();
  // Writes through handle().
  void insert(const std::string &table, const ContentValues &row);

  // Whether the query's first value becomes this in time.
  bool waitForValue(const std::string &sql, const std::string &value);
  const std::filesystem::path &folder() const { return folder_.path(); }

 private:
  std::string statusPath() const { return folder() / "status"; }
  std::filesystem::path nextFile() { return folder() / ("output" + std::to_string(++files_)); }

  const TemporaryFolder folder_;
  int files_ = 0;
  Handle handle_;
  std::optional<Program> server_;
};

ContentValues rowOf(const std::vector<std::pair<std::string, std::string>> &values);

// Lines of a program's output that begin with `beginning`, without it.
Words linesOf(const Program &program, const std::string &beginning);

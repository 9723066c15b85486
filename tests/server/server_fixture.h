// A notification server for each test, on a socket in a folder of the test's own.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "server/server_client.h"
#include "support/program.h"
#include "support/temporary_folder.h"
#include "support/wait.h"

// Starts the program; its folder is removed at the end.
class ServerProgramTest : public testing::Test {
 protected:
  Program start(const std::vector<std::string> &arguments);
  Program startOnSocket(const std::vector<std::string> &more = {});
  // The same through another program, whose last arguments are the server and the server's arguments.
  Program startThrough(const std::vector<std::string> &launcher, const std::vector<std::string> &arguments);
  Program startOnSocketThrough(const std::vector<std::string> &launcher, const std::vector<std::string> &more = {});

  // By what the server logs to standard error.
  static void waitUntilListening(Program &server) { server.waitForOutput("listening on"); }

  const std::filesystem::path &folder() const { return folder_.path(); }
  std::string socketPath() const { return folder() / "server.sock"; }
  std::string statusPath() const { return folder() / "status.sock"; }
  // Of a server with a status socket there.
  nlohmann::json report() const;

 private:
  const TemporaryFolder folder_;
  int started_ = 0;
};

// One server is running. This process is older than the server, so it would be told of whole tables.
class ServerTest : public ServerProgramTest {
 protected:
  explicit ServerTest(const std::vector<std::string> &options = {"--resync=never"})
      : server_(startOnSocket(withStatus(options))) {
    waitUntilListening(server_);
  }

  ServerClient connectClient() const { return ServerClient(socketPath()); }

  // Waits for a report of which `condition` is true.
  template <typename Condition>
  void waitForReport(Condition condition) {
    ASSERT_TRUE(waitUntil([&] { return condition(report()); })) << report() << server_.output();
  }

  Program server_;

 private:
  std::vector<std::string> withStatus(std::vector<std::string> options) const;
};

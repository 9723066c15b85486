#include "examples/demo/demo_fixture.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <stdexcept>

#include "support/wait.h"

namespace {

// Tens of thousands of statements, with a sanitizer on a busy machine.
constexpr std::chrono::seconds kLoaderPatience = std::max(std::chrono::seconds(110), 3 * kPatience);

// Where script/mariadb has written down how the server is reached.
std::string connectionFile() {
  const char *path = std::getenv("ORVDB_TEST_MARIADB");
  if (path == nullptr) throw std::runtime_error("ORVDB_TEST_MARIADB is not set");
  return path;
}

}  // namespace

DemoTest::DemoTest(std::vector<std::string> serverOptions) : serverOptions_(std::move(serverOptions)) {}

Program DemoTest::startServer() {
  std::vector<std::string> command{ORVDB_SERVER_PROGRAM};
  command.insert(command.end(), serverOptions_.begin(), serverOptions_.end());
  Program server(command, folder() / "server.log");
  server.waitForOutput("listening on");
  return server;
}

Program DemoTest::startWatcher() {
  Program watcher({ORVDB_WATCHER_PROGRAM, db()}, folder() / "heard");
  watcher.waitForOutput("\n");
  return watcher;
}

void DemoTest::load(const std::filesystem::path &usbIds) {
  const Program server = startServer();
  Program watcher = startWatcher();
  Program loader({ORVDB_LOADER_PROGRAM, connectionFile(), db(), usbIds, folder()}, folder() / "report");
  ASSERT_EQ(loader.waitForExit(kLoaderPatience), 0) << loader.output();
  ASSERT_EQ(watcher.waitForExit(), 0) << watcher.output();
}

std::filesystem::path DemoTest::writeSmallUsbIds() const {
  std::ofstream file(folder() / "usb.ids");
  for (int vendor = 0x1000; vendor < 0x1064; ++vendor) {
    file << std::hex << vendor << "  Vendor " << vendor << '\n';
    file << "\t0001  First device of " << vendor << "\n\t0002  Second device\n";
  }
  return folder() / "usb.ids";
}

bool DemoTest::check() {
  Program checker({ORVDB_CHECKER_PROGRAM, connectionFile(), db(), folder(), folder() / "heard"}, folder() / "verdict");
  return checker.waitForExit() == 0;
}

std::vector<std::string> DemoTest::log() const {
  std::ifstream file(folder() / "heard");
  std::vector<std::string> lines;
  for (std::string line; std::getline(file, line);) {
    lines.push_back(line);
  }
  return lines;
}

void DemoTest::replaceLog(const std::vector<std::string> &lines) const {
  std::ofstream file(folder() / "heard");
  for (const std::string &line : lines) {
    file << line << '\n';
  }
}

#include "server/server_fixture.h"

#include <stdexcept>

Program ServerProgramTest::start(const std::vector<std::string> &arguments) { return startThrough({}, arguments); }

Program ServerProgramTest::startOnSocket(const std::vector<std::string> &more) {
  return startOnSocketThrough({}, more);
}

Program ServerProgramTest::startThrough(const std::vector<std::string> &launcher,
                                        const std::vector<std::string> &arguments) {
  std::vector<std::string> command = launcher;
  command.emplace_back(ORVDB_SERVER_PROGRAM);
  command.insert(command.end(), arguments.begin(), arguments.end());
  return {command, folder() / ("output." + std::to_string(++started_))};
}

Program ServerProgramTest::startOnSocketThrough(const std::vector<std::string> &launcher,
                                                const std::vector<std::string> &more) {
  std::vector<std::string> arguments{"--socket", socketPath(), "--status="};
  arguments.insert(arguments.end(), more.begin(), more.end());
  return startThrough(launcher, arguments);
}

nlohmann::json ServerProgramTest::report() const {
  return nlohmann::json::parse(ServerClient(statusPath()).receiveAll());
}

std::vector<std::string> ServerTest::withStatus(std::vector<std::string> options) const {
  options.push_back("--status=" + statusPath());
  return options;
}

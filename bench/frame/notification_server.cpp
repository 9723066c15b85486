#include "frame/notification_server.h"

#include <stdexcept>

#include "support/wait.h"

namespace {

std::vector<std::string> serverCommand(const std::vector<std::string> &options, const std::string &path) {
  std::vector<std::string> command{ORVDB_SERVER, "--socket=" + path};
  command.insert(command.end(), options.begin(), options.end());
  return command;
}

}  // namespace

ServerProgram::ServerProgram(std::vector<std::string> command, std::string path)
    : m_path(std::move(path)), m_process(std::move(command), Role::kReader) {
  if (!waitUntil([this] { return RecordSocket::answers(m_path); }))
    throw std::runtime_error("nobody accepts connections at " + m_path);
}

NotificationServer::NotificationServer(const std::vector<std::string> &options)
    : NotificationServer(options, kServerSocketPath) {}

NotificationServer::NotificationServer(const std::vector<std::string> &options, const std::string &path)
    : ServerProgram(serverCommand(options, path), path) {}

Relay::Relay(Manner manner, const std::string &path)
    : ServerProgram({manner == kEach ? RELAY_EACH : RELAY_RUNS, path}, path) {}

#include "servers.h"

#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <utility>

#include "clients.h"

namespace {

constexpr char kServerName[] = "orvdb_server";

std::vector<std::string> commandOf(const std::string &name, const std::string &socket, const std::string &status) {
  if (name == kServerName) return {ORVDB_SERVER, "--socket=" + socket, "--status=" + status, "--resync=never"};
  if (name == "orvdb_server, sweeps")
    return {ORVDB_SERVER, "--socket=" + socket, "--status=" + status, "--resync=always"};
  return {name == "relay, each" ? RELAY_EACH : RELAY_RUNS, socket};
}

pid_t spawn(const std::vector<std::string> &command) {
  std::vector<char *> arguments;
  for (const std::string &word : command)
    arguments.push_back(const_cast<char *>(word.c_str()));
  arguments.push_back(nullptr);
  pid_t pid = -1;
  if (posix_spawn(&pid, arguments[0], nullptr, nullptr, arguments.data(), environ) != 0) {
    throw std::runtime_error("can't start " + command.front());
  }
  return pid;
}

}  // namespace

const std::vector<std::string> &serverNames() {
  static const std::vector<std::string> names{kServerName, "relay, each", "relay, runs"};
  return names;
}

ServerProcess::ServerProcess(const std::string &name, const std::string &folder)
    : m_name(name), m_socket(folder + "/" + name + ".sock"), m_status(folder + "/" + name + ".status") {
  m_pid = spawn(commandOf(name, m_socket, m_status));
  while (!Client::answers(m_socket))
    usleep(1000);
}

ServerProcess::ServerProcess(ServerProcess &&other) noexcept
    : m_name(std::move(other.m_name)),
      m_socket(std::move(other.m_socket)),
      m_status(std::move(other.m_status)),
      m_pid(std::exchange(other.m_pid, -1)) {}

ServerProcess::~ServerProcess() {
  if (m_pid < 0) return;
  kill(m_pid, SIGTERM);
  waitpid(m_pid, nullptr, 0);
}

long ServerProcess::residentKib() const {
  std::ifstream status("/proc/" + std::to_string(m_pid) + "/status");
  for (std::string line; std::getline(status, line);) {
    if (line.rfind("VmRSS:", 0) == 0) return std::stol(line.substr(6));
  }
  throw std::runtime_error(m_name + " has ended");
}

long ServerProcess::reported(const std::string &key) const {
  if (m_name.rfind(kServerName, 0) != 0) return 0;
  return nlohmann::json::parse(Client(m_status).readAll()).at(key).get<long>();
}

#include "listeners.h"

#include <sys/socket.h>

#include <algorithm>
#include <stdexcept>

#include "listener.h"

namespace {

constexpr timeval kPatience{60, 0};

}  // namespace

Listeners Listeners::withCallbacks(std::size_t processes, std::size_t registrations) {
  return {{CALLBACK_LISTENER, std::to_string(registrations)}, processes};
}

Listeners Listeners::withSockets(const ServerProgram &server, std::size_t processes, std::size_t connections) {
  return {{SOCKET_LISTENER, server.path(), std::to_string(connections)}, processes};
}

Listeners Listeners::withoutServer() { return {{SOCKET_LISTENER}, 1}; }

Listeners::Listeners(const std::vector<std::string> &command, std::size_t processes)
    : Listeners(command, processes, SocketPair(), SocketPair()) {}

Listeners::Listeners(const std::vector<std::string> &command, std::size_t processes, SocketPair changes,
                     SocketPair reports)
    : m_changes(std::move(changes.ours)), m_reports(std::move(reports.ours)) {
  setsockopt(m_reports.descriptor(), SOL_SOCKET, SO_RCVTIMEO, &kPatience, sizeof kPatience);
  for (std::size_t i = 0; i < processes; ++i)
    m_processes.emplace_back(command, Role::kReader, changes.theirs.get(), reports.theirs.get());
  reports.theirs.reset();
  lastDelay();  // the reports that they are ready
}

double Listeners::lastDelay() const {
  std::vector<Nanoseconds> delays(m_processes.size());
  const std::size_t size = delays.size() * sizeof(Nanoseconds);
  if (recv(m_reports.descriptor(), delays.data(), size, MSG_WAITALL) != static_cast<ssize_t>(size)) {
    throw std::runtime_error("a listener does not hear of a change");
  }
  return static_cast<double>(*std::max_element(delays.begin(), delays.end())) / 1e9;
}

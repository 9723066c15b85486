// Processes that listen to changes and tell how long each was on its way.
#pragma once

#include <string>
#include <vector>

#include "frame/child_process.h"
#include "frame/notification_server.h"
#include "frame/socket_pair.h"

class Listeners {
 public:
  // With the library, as many registrations each. Constructors return when all of them listen.
  static Listeners withCallbacks(std::size_t processes, std::size_t registrations = 1);
  // By the bare socket.
  static Listeners withSockets(const ServerProgram &server, std::size_t processes, std::size_t connections = 1);
  // By the other end of socket(), without a server.
  static Listeners withoutServer();

  const RecordSocket &socket() const { return m_changes; }

  // Of the change that was announced last: seconds until the last of them had it.
  double lastDelay() const;

 private:
  Listeners(const std::vector<std::string> &command, std::size_t processes);
  Listeners(const std::vector<std::string> &command, std::size_t processes, SocketPair changes, SocketPair reports);

  RecordSocket m_changes;
  RecordSocket m_reports;
  std::vector<ChildProcess> m_processes;
};

// The loop: one thread, one pass over all descriptors after the other.
#pragma once

#include <poll.h>

#include <map>
#include <set>
#include <string>
#include <vector>

#include "connection.h"
#include "descriptor.h"
#include "listener.h"
#include "routes.h"

class Server {
 public:
  // Throws std::runtime_error when it can't listen on `socketPath`, see Listener.
  explicit Server(const std::string &socketPath);

  // Returns on SIGTERM or SIGINT.
  void run();

 private:
  // What poll() was asked about, in this order: signals, listener, connections by id.
  std::vector<pollfd> waitForWork() const;
  void serveReady(const pollfd *ready);
  void serve(ConnectionId id, Connection &connection);
  void handle(ConnectionId sender, const _ORV_DB_MESSAGE &record);
  void send(ConnectionId reader, const _ORV_DB_MESSAGE &record);
  void acceptWaiting();
  void flushAll();
  void closeEnded();

  Descriptor m_signals;  // before the listener, whose file no signal may leave behind
  Listener m_listener;
  std::map<ConnectionId, Connection> m_connections;
  ConnectionId m_nextId = 1;
  Routes m_routes;
  std::set<ConnectionId> m_ended;  // stay among the connections until the pass is over
};

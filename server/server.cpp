#include "server.h"

#include <signal.h>
#include <sys/signalfd.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstdio>
#include <system_error>

namespace {

// From here on these signals are read from the descriptor and interrupt nothing.
Descriptor openSignals() {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGTERM);
  sigaddset(&signals, SIGINT);
  Descriptor descriptor{signalfd(-1, &signals, SFD_CLOEXEC)};
  if (!descriptor.isOpen() || sigprocmask(SIG_BLOCK, &signals, nullptr) != 0) {
    throw std::system_error(errno, std::generic_category(), "signals");
  }
  return descriptor;
}

int processOf(const Connection &connection) {
  ucred peer{};
  socklen_t size = sizeof(peer);
  getsockopt(connection.descriptor(), SOL_SOCKET, SO_PEERCRED, &peer, &size);
  return peer.pid;
}

}  // namespace

Server::Server(const std::string &socketPath) : m_signals(openSignals()), m_listener(socketPath) {}

void Server::run() {
  for (;;) {
    const std::vector<pollfd> ready = waitForWork();
    if (ready[0].revents != 0) return;
    serveReady(&ready[2]);
    if (ready[1].revents != 0) acceptWaiting();
    flushAll();
    closeEnded();
  }
}

std::vector<pollfd> Server::waitForWork() const {
  std::vector<pollfd> descriptors{{m_signals.get(), POLLIN, 0}, {m_listener.descriptor(), POLLIN, 0}};
  for (const auto &[id, connection] : m_connections) {
    const int events = connection.hasUnsent() ? POLLIN | POLLOUT : POLLIN;
    descriptors.push_back({connection.descriptor(), static_cast<short>(events), 0});
  }
  // Interrupted, it leaves no descriptor ready.
  if (poll(descriptors.data(), descriptors.size(), -1) < 0 && errno != EINTR) {
    throw std::system_error(errno, std::generic_category(), "poll");
  }
  return descriptors;
}

void Server::serveReady(const pollfd *ready) {
  for (auto &[id, connection] : m_connections) {
    if ((ready++->revents & ~POLLOUT) != 0) serve(id, connection);
  }
}

void Server::serve(ConnectionId id, Connection &connection) {
  std::vector<_ORV_DB_MESSAGE> records;
  if (!connection.receive(records)) m_ended.insert(id);
  for (const _ORV_DB_MESSAGE &record : records) {
    handle(id, record);
  }
}

void Server::handle(ConnectionId sender, const _ORV_DB_MESSAGE &record) {
  const Routes::Key key = Routes::keyOf(record);
  switch (record.type) {
    case MSG_REGISTER: {
      m_routes.add(sender, key, record.action);
      _ORV_DB_MESSAGE reply = record;
      reply.status = kStatusAccepted;
      send(sender, reply);
      break;
    }
    case MSG_CANCEL:
      m_routes.remove(sender, key, record.action);
      break;
    case MSG_CHANGE:
      if (record.status != kStatusPlain) break;
      for (const ConnectionId reader : m_routes.readersOf(key, record.action)) {
        if (reader != sender) send(reader, record);
      }
      break;
  }
}

void Server::send(ConnectionId reader, const _ORV_DB_MESSAGE &record) {
  if (m_ended.count(reader) != 0) return;
  Connection &connection = m_connections.at(reader);
  if (connection.send(record)) return;
  std::fprintf(stderr, "orvdb_server: process %d does not read what it registered for, its connection is closed\n",
               processOf(connection));
  m_ended.insert(reader);
}

void Server::acceptWaiting() {
  for (Descriptor socket = m_listener.accept(); socket.isOpen(); socket = m_listener.accept()) {
    m_connections.emplace(m_nextId++, Connection{std::move(socket)});
  }
}

void Server::flushAll() {
  for (auto &[id, connection] : m_connections) {
    connection.flush();
  }
}

void Server::closeEnded() {
  for (const ConnectionId id : m_ended) {
    m_routes.forget(id);
    m_connections.erase(id);
  }
  m_ended.clear();
}

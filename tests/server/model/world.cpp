#include "server/model/world.h"

#include <fcntl.h>
#include <sys/eventfd.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>

namespace {

// More than any test needs: a hub that does not come to rest by then spins.
constexpr int kMostTurnsToSettle = 20'000;

// One for all, and for nobody to read: what clients are told is looked at, not the log.
Log &quietLog() {
  static Log &log = [&]() -> Log & {
    const Descriptor nowhere{open("/dev/null", O_WRONLY | O_CLOEXEC)};
    const Descriptor usual{fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 3)};
    dup2(nowhere.get(), STDERR_FILENO);
    static Log made(false);
    dup2(usual.get(), STDERR_FILENO);
    return made;
  }();
  return log;
}

struct Ready {
  std::uint64_t source;
  std::uint32_t events;
};

}  // namespace

World::World(const Setup &setup)
    : m_setup(setup),
      m_model(setup.leniency),
      m_listening(eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC)),
      m_now(Clock::now()),
      m_hub(setup.limits, Resync(setup.resync, 0, m_now), m_poll, quietLog()) {
  if (!m_poll.add(m_listening.get(), EventPoll::kListener)) throw std::runtime_error("epoll");
}

World::Client World::connect() {
  std::array<int, 2> ends{};
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0, ends.data()) != 0)
    throw std::runtime_error("socketpair");
  m_clients.push_back({Descriptor{ends[0]}, {}, 0});
  m_waiting.emplace_back(ends[1]);
  eventfd_write(m_listening.get(), 1);
  if (m_setup.socketBytes != 0)
    setsockopt(ends[1], SOL_SOCKET, SO_SNDBUF, &m_setup.socketBytes, sizeof m_setup.socketBytes);
  return m_model.add();
}

// --- clients ---------------------------------------------------------------------------------------------------------

void World::registerFor(Client client, const std::string &table, std::uint8_t actions, std::uint8_t flag) {
  put(client, makeRecord(MSG_REGISTER, table, actions, flag));
}

void World::cancel(Client client, const std::string &table, std::uint8_t actions) {
  put(client, makeRecord(MSG_CANCEL, table, actions, 0));
}

void World::announce(Client client, const std::string &table, std::uint8_t action) {
  put(client, makeRecord(MSG_CHANGE, table, action, 0));
}

void World::put(Client client, std::string bytes) {
  Side &side = m_clients[client];
  const std::size_t ahead = side.written + side.unwritten.size();
  for (std::size_t at = (kRecordSize - ahead % kRecordSize) % kRecordSize; at + kRecordSize <= bytes.size();
       at += kRecordSize) {
    _ORV_DB_MESSAGE record = recordOf(std::string_view(bytes).substr(at));
    if (record.type != MSG_CHANGE) continue;
    record.rowId = ++m_lastRow;
    bytes.replace(at, kRecordSize, bytesOf(record));
  }
  side.unwritten += bytes;
}

void World::write(Client client, std::size_t most) {
  if (!isOpen(client)) return;
  Side &side = m_clients[client];
  const ssize_t count =
      send(side.socket.get(), side.unwritten.data(), std::min(most, side.unwritten.size()), MSG_NOSIGNAL);
  if (count <= 0) return;
  m_model.wrote(client, std::string_view(side.unwritten).substr(0, static_cast<std::size_t>(count)));
  side.unwritten.erase(0, static_cast<std::size_t>(count));
  side.written += static_cast<std::size_t>(count);
  m_moves += static_cast<std::uint64_t>(count);
}

void World::read(Client client, std::size_t most) {
  std::array<char, 65536> bytes;
  if (!isOpen(client) || most == 0) return;
  const ssize_t count = recv(m_clients[client].socket.get(), bytes.data(), std::min(most, bytes.size()), 0);
  if (count > 0) {
    m_model.read(client, {bytes.data(), static_cast<std::size_t>(count)});
    m_moves += static_cast<std::uint64_t>(count);
  } else if (count == 0 || errno != EAGAIN) {
    m_model.wasCut(client);
    m_clients[client].socket.reset();
  }
}

void World::close(Client client) {
  m_model.closed(client);
  m_clients[client].socket.reset();
}

// --- the server's loop -----------------------------------------------------------------------------------------------

void World::turn(const Choice &choose, const std::function<void()> &meanwhile) {
  std::vector<Ready> ready;
  m_hub.beginPass();
  for (const epoll_event &event : m_poll.wait(0))
    ready.push_back({event.data.u64, event.events});
  while (!ready.empty()) {
    meanwhile();
    std::swap(ready[choose(ready.size())], ready.back());
    const auto [source, events] = ready.back();
    ready.pop_back();
    if (source == EventPoll::kListener) {
      acceptWaiting();
    } else {
      m_hub.serve(source, events);
    }
  }
  m_hub.endPass();
  checkMemory();
}

void World::acceptWaiting() {
  eventfd_t waiting = 0;
  eventfd_read(m_listening.get(), &waiting);
  for (; !m_waiting.empty(); m_waiting.pop_front())
    m_hub.welcome(std::move(m_waiting.front()), Peer{1, 0, 0, 1, "client"});
}

void World::tick(std::chrono::milliseconds passed) {
  m_now += passed;
  m_hub.tick(m_now);
}

void World::checkMemory() const {
  std::size_t sum = 0;
  for (const auto &[id, connection] : m_hub.connections())
    sum += connection->outbox().changeBytes();
  if (sum != m_hub.queuedBytes()) throw BrokenPromise("the sum of all queues is not their sum");
  if (sum > m_setup.limits.totalQueueBytes + kRecordSize) throw BrokenPromise("the queues are longer than they may be");
}

bool World::isQuiet() const {
  const auto hasWritten = [](const Side &side) { return side.unwritten.empty() || !side.socket.isOpen(); };
  return m_waiting.empty() && !m_hub.isBusy() && m_hub.isDrained() &&
         std::all_of(m_clients.begin(), m_clients.end(), hasWritten);
}

void World::settle() {
  std::uint64_t before = 0;
  int turns = 0;
  do {
    before = m_moves;
    if (++turns > kMostTurnsToSettle) throw BrokenPromise("the hub does not come to rest");
    for (Client client = 0; client < count(); ++client)
      write(client, std::string::npos);
    turn([](std::size_t) { return std::size_t{0}; });
    for (Client client = 0; client < count(); ++client)
      read(client, std::string::npos);
  } while (before != m_moves || !isQuiet());
  m_model.checkNothingIsMissing();
}

#include "clients.h"

#include <sys/epoll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <stdexcept>
#include <utility>

namespace {

constexpr char kDb[] = "bench";

_ORV_DB_MESSAGE makeRecord(message_type type, const std::string &table, std::uint64_t rowId) {
  _ORV_DB_MESSAGE record{};
  record.type = type;
  std::memcpy(record.db, kDb, sizeof kDb);
  table.copy(record.table, kNameFieldSize - 1);
  record.action = 1;
  record.rowId = rowId;
  return record;
}

int connectTo(const std::string &path) {
  const int made = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  path.copy(address.sun_path, sizeof address.sun_path - 1);
  if (connect(made, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0) return made;
  close(made);
  return -1;
}

}  // namespace

Client::Client(const std::string &socketPath) : m_socket(connectTo(socketPath)) {
  if (m_socket < 0) throw std::runtime_error("can't connect to " + socketPath);
}

Client::Client(Client &&other) noexcept : m_socket(std::exchange(other.m_socket, -1)) {}

Client::~Client() {
  if (m_socket >= 0) close(m_socket);
}

bool Client::answers(const std::string &socketPath) {
  const int made = connectTo(socketPath);
  if (made >= 0) close(made);
  return made >= 0;
}

void Client::registerKey(const std::string &table) {
  send({makeRecord(MSG_REGISTER, table, 0)});
  receive();
}

void Client::registerKeys(const std::string &prefix, std::size_t count) {
  constexpr std::size_t kAtOnce = 100;
  for (std::size_t first = 0; first < count; first += kAtOnce) {
    std::vector<_ORV_DB_MESSAGE> records;
    for (std::size_t i = first; i < std::min(count, first + kAtOnce); ++i) {
      records.push_back(makeRecord(MSG_REGISTER, prefix + std::to_string(i), 0));
    }
    send(records);
    for (std::size_t i = 0; i < records.size(); ++i)
      receive();
  }
}

void Client::announce(const std::string &table, std::uint64_t rowId) { send({makeRecord(MSG_CHANGE, table, rowId)}); }

void Client::send(const std::vector<_ORV_DB_MESSAGE> &records) {
  const std::size_t size = records.size() * kRecordSize;
  if (::send(m_socket, records.data(), size, MSG_NOSIGNAL) != static_cast<ssize_t>(size)) {
    throw std::runtime_error("the server has gone");
  }
}

_ORV_DB_MESSAGE Client::receive() {
  _ORV_DB_MESSAGE record;
  if (recv(m_socket, &record, kRecordSize, MSG_WAITALL) != static_cast<ssize_t>(kRecordSize)) {
    throw std::runtime_error("the server has gone");
  }
  return record;
}

std::string Client::readAll() {
  std::string all;
  std::array<char, 65536> buffer;
  for (ssize_t count; (count = recv(m_socket, buffer.data(), buffer.size(), 0)) > 0;) {
    all.append(buffer.data(), static_cast<std::size_t>(count));
  }
  return all;
}

Readers::Readers(const std::string &socketPath, std::size_t count, std::size_t readSize) {
  for (std::size_t i = 0; i < count; ++i)
    m_clients.emplace_back(socketPath).registerKey("t");
  m_thread = std::thread([this, readSize] { read(readSize); });
}

Readers::~Readers() {
  m_isDone = true;
  m_thread.join();
}

void Readers::read(std::size_t readSize) {
  const int poll = epoll_create1(EPOLL_CLOEXEC);
  std::vector<std::size_t> parts(m_clients.size());
  for (std::size_t i = 0; i < m_clients.size(); ++i) {
    epoll_event event{EPOLLIN, {}};
    event.data.u64 = i;
    epoll_ctl(poll, EPOLL_CTL_ADD, m_clients[i].descriptor(), &event);
  }
  std::array<epoll_event, 256> ready;
  static std::array<char, kReadSize> buffer;
  while (!m_isDone) {
    const int count = epoll_wait(poll, ready.data(), static_cast<int>(ready.size()), 10);
    for (int i = 0; i < count; ++i) {
      const std::size_t reader = ready[static_cast<std::size_t>(i)].data.u64;
      const ssize_t size = recv(m_clients[reader].descriptor(), buffer.data(), readSize, MSG_DONTWAIT);
      if (size <= 0) continue;
      const std::size_t bytes = parts[reader] + static_cast<std::size_t>(size);
      m_delivered += bytes / kRecordSize;
      parts[reader] = bytes % kRecordSize;
    }
  }
  close(poll);
}

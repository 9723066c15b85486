#include "connection.h"

#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <cstring>

namespace {

constexpr std::size_t kRecordSize = sizeof(_ORV_DB_MESSAGE);

// One turn at most of a busy sender, so that it delays the others by a bounded time.
constexpr std::size_t kReadSize = std::size_t{64} * 1024;

// Some 7,400 changes: time enough for a client that is busy for a moment, and an end to one that has stopped reading.
constexpr std::size_t kUnsentLimit = std::size_t{1024} * 1024;

}  // namespace

bool Connection::receive(std::vector<_ORV_DB_MESSAGE> &records) {
  std::array<char, kReadSize> chunk;
  const ssize_t count = recv(m_socket.get(), chunk.data(), chunk.size(), 0);
  if (count < 0) return errno == EAGAIN || errno == EINTR;
  m_received.append(chunk.data(), static_cast<std::size_t>(count));
  std::size_t begin = 0;
  for (; m_received.size() - begin >= kRecordSize; begin += kRecordSize) {
    std::memcpy(&records.emplace_back(), m_received.data() + begin, kRecordSize);
  }
  m_received.erase(0, begin);
  return count > 0;
}

bool Connection::send(const _ORV_DB_MESSAGE &record) {
  m_unsent.append(reinterpret_cast<const char *>(&record), kRecordSize);
  if (m_unsent.size() > kUnsentLimit) flush();
  return m_unsent.size() <= kUnsentLimit;
}

void Connection::flush() {
  while (hasUnsent()) {
    const ssize_t count = ::send(m_socket.get(), m_unsent.data(), m_unsent.size(), MSG_NOSIGNAL);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0 && errno == EAGAIN) return;
    m_unsent.erase(0, count < 0 ? m_unsent.size() : static_cast<std::size_t>(count));
  }
}

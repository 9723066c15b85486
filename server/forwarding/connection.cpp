#include "forwarding/connection.h"

#include <sys/ioctl.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>

namespace {

// More than a socket of the usual size holds, so that one read mostly takes all there is.
constexpr std::size_t kReadSize = 256UL * 1024;
std::array<char, kReadSize> s_buffer;  // of the one thread that there is

std::size_t bytesWaiting(int socket) {
  int bytes = 0;
  return ioctl(socket, FIONREAD, &bytes) == 0 && bytes > 0 ? static_cast<std::size_t>(bytes) : 0;
}

void appendRecords(std::string_view bytes, std::vector<_ORV_DB_MESSAGE> &records) {
  const auto *first = reinterpret_cast<const _ORV_DB_MESSAGE *>(bytes.data());  // packed: it needs no alignment
  records.insert(records.end(), first, first + bytes.size() / kRecordSize);
}

}  // namespace

Connection::Connection(ConnectionId id, Descriptor socket, Peer peer)
    : m_id(id), m_socket(std::move(socket)), m_peer(std::move(peer)) {}

bool Connection::receive(std::vector<_ORV_DB_MESSAGE> &records) {
  std::size_t allowed = kReadSize;
  for (bool isFirst = true; allowed > 0; isFirst = false) {
    const ssize_t count = recv(descriptor(), s_buffer.data(), std::min(allowed, kReadSize), MSG_DONTWAIT);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return errno == EAGAIN;
    if (count == 0) return false;
    const auto size = static_cast<std::size_t>(count);
    // A full buffer: there is more than usual, of which only what is there now counts.
    if (isFirst) allowed = size == kReadSize ? size + bytesWaiting(descriptor()) : size;
    allowed -= size;
    cut({s_buffer.data(), size}, records);
  }
  return true;
}

// Most pieces begin and end with a record: they are copied once.
void Connection::cut(std::string_view bytes, std::vector<_ORV_DB_MESSAGE> &records) {
  if (!m_received.empty()) {
    const std::size_t missing = std::min(kRecordSize - m_received.size(), bytes.size());
    m_received.append(bytes.substr(0, missing));
    bytes.remove_prefix(missing);
    if (m_received.size() < kRecordSize) return;
    appendRecords(m_received, records);
    m_received.clear();
  }
  const std::size_t whole = bytes.size() - bytes.size() % kRecordSize;
  appendRecords(bytes.substr(0, whole), records);
  m_received.append(bytes.substr(whole));
}

void Connection::close() { m_socket.reset(); }

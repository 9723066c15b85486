// The other side of a notification peer: a plain socket, byte for byte.
#pragma once

#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>

#include <cerrno>
#include <cstring>
#include <random>
#include <stdexcept>

#include "support/notification_peer.h"

class PeerClient {
 public:
  PeerClient() : socket_(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    const timeval patience{kPatience.count(), 0};
    setsockopt(socket_.get(), SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::string(kServerSocketPath).copy(address.sun_path, sizeof address.sun_path - 1);
    if (connect(socket_.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0)
      connectError_ = errno;
  }

  // 0 if the connection was made.
  int connectError() const { return connectError_; }

  template <typename Range>
  void write(const Range &bytes) {
    if (send(socket_.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(bytes.size())) {
      throw std::runtime_error("the peer took less than it was sent");
    }
  }

  // Writes until nothing more is taken; returns the number of bytes.
  std::size_t writeUntilFull() {
    const Bytes zeros(1000);
    std::size_t total = 0;
    ssize_t length = 0;
    while ((length = send(socket_.get(), zeros.data(), zeros.size(), MSG_NOSIGNAL | MSG_DONTWAIT)) > 0) {
      total += static_cast<std::size_t>(length);
    }
    return total;
  }

  // One read: what is there once anything is there, and nothing at the end of the stream.
  Bytes readOnce() { return receive(65536, 0); }

  Bytes read(std::size_t length) { return receive(length, MSG_WAITALL); }

  bool hasNothingToRead() {
    unsigned char byte = 0;
    return recv(socket_.get(), &byte, 1, MSG_DONTWAIT) < 0 && errno == EAGAIN;
  }

  void close() { socket_.reset(); }

 private:
  Bytes receive(std::size_t length, int flags) {
    Bytes bytes(length);
    const ssize_t got = recv(socket_.get(), bytes.data(), length, flags);
    if (got < 0) throw std::runtime_error(std::string("nothing to read: ") + std::strerror(errno));
    bytes.resize(static_cast<std::size_t>(got));
    return bytes;
  }

  UniqueFd socket_;
  int connectError_ = 0;
};

// Every call gives another one; the first byte is a type to which the peer gives no answer.
inline RecordBytes randomRecord() {
  static std::mt19937 generator(20240229);
  RecordBytes bytes;
  for (unsigned char &byte : bytes)
    byte = static_cast<unsigned char>(generator());
  bytes[0] = MSG_CHANGE;
  return bytes;
}

// Both ends of a connection: one for the server's classes, one for the test.
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>

#include <cstring>

#include "support/notification_peer.h"
#include "support/unique_fd.h"
#include "system/descriptor.h"

struct ConnectedPair {
  ConnectedPair() {
    int ends[2] = {-1, -1};
    EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
    server = Descriptor(ends[0]);
    client = UniqueFd(ends[1]);
  }

  void send(const RecordBytes &record) const {
    EXPECT_EQ(::send(client.get(), record.data(), record.size(), MSG_NOSIGNAL), static_cast<ssize_t>(record.size()));
  }

  // All that is there now, up to `most` bytes.
  Bytes take(std::size_t most = 1 << 20) const {
    Bytes bytes(most);
    const ssize_t count = recv(client.get(), bytes.data(), bytes.size(), MSG_DONTWAIT);
    bytes.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
    return bytes;
  }

  Descriptor server;
  UniqueFd client;
};

inline _ORV_DB_MESSAGE messageOf(const RecordBytes &bytes) {
  _ORV_DB_MESSAGE message;
  static_assert(sizeof message == sizeof bytes);
  std::memcpy(&message, bytes.data(), sizeof message);
  return message;
}

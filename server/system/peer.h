// The process at the other end of a connection.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>

struct Peer {
  pid_t pid = 0;  // 0: unknown
  uid_t uid = static_cast<uid_t>(-1);
  gid_t gid = static_cast<gid_t>(-1);
  std::uint64_t startTime = 0;  // clock ticks since the system's start; 0: unknown
  std::string command;
};

// The process that made the connection, as far as it can be found out.
Peer peerOf(int socket);

// "process 12 (watcher, user 0)".
std::string describe(const Peer &peer);

// The present moment, on the scale of Peer::startTime.
std::uint64_t ticksSinceBoot();

// What both relays share: they accept, answer every registration, and pass every change on to all others that have sent
// one.
#pragma once

#include <sys/socket.h>

#include <cstdlib>
#include <map>
#include <set>

#include "event/message.h"
#include "system/descriptor.h"
#include "system/event_poll.h"
#include "system/socket_file.h"

// Runs `serve(fd, readers)` for every connection that can be read; false ends the connection.
template <class Serve>
[[noreturn]] void runRelay(const char *path, Serve serve) {
  EventPoll poll;
  const SocketFile listener(path, {0600}, SOMAXCONN);
  if (!poll.add(listener.descriptor(), EventPoll::kListener)) std::abort();
  std::map<int, Descriptor> connections;
  std::set<int> readers;
  for (;;) {
    for (const epoll_event &event : poll.wait(-1)) {
      if (event.data.u64 == EventPoll::kListener) {
        Descriptor accepted{accept4(listener.descriptor(), nullptr, nullptr, SOCK_CLOEXEC)};
        const int fd = accepted.get();
        if (!poll.add(fd, EventPoll::kFirstConnection + static_cast<std::uint64_t>(fd))) std::abort();
        connections.emplace(fd, std::move(accepted));
        continue;
      }
      const int fd = static_cast<int>(event.data.u64 - EventPoll::kFirstConnection);
      if (serve(fd, readers)) continue;
      poll.remove(fd);
      connections.erase(fd);
      readers.erase(fd);
    }
  }
}

inline void sendAll(int fd, const char *bytes, std::size_t size) {
  while (size > 0) {
    const ssize_t count = send(fd, bytes, size, MSG_NOSIGNAL);
    if (count <= 0) return;
    bytes += count;
    size -= static_cast<std::size_t>(count);
  }
}

inline void answer(int fd, _ORV_DB_MESSAGE registration) {
  registration.status = kStatusAccepted;
  sendAll(fd, reinterpret_cast<const char *>(&registration), kRecordSize);
}

// Which descriptors are ready. Each has a number: the connections' own ids, and fixed ones below them.
#pragma once

#include <sys/epoll.h>

#include <cstdint>
#include <vector>

#include "system/descriptor.h"

class EventPoll {
 public:
  enum Source : std::uint64_t { kSignals, kTimer, kListener, kStatus, kFirstConnection };

  EventPoll();

  // Ready itself when one of its descriptors is: a poll can be watched by another.
  int descriptor() const { return m_epoll.get(); }

  // False when the system has no room for it, and errno says why.
  [[nodiscard]] bool add(int fd, std::uint64_t source, std::uint32_t events = EPOLLIN);
  void change(int fd, std::uint64_t source, std::uint32_t events);
  void remove(int fd);

  // All that are ready: none is left for the next call.
  struct Ready {
    const epoll_event *begin() const { return first; }
    const epoll_event *end() const { return first + count; }
    const epoll_event *first;
    int count;
  };
  Ready wait(int timeoutMs);

 private:
  Descriptor m_epoll;
  std::size_t m_count = 0;
  std::vector<epoll_event> m_ready;
};

// A hub without a loop: the test makes its passes.
#pragma once

#include "forwarding/hub.h"
#include "server/parts/connected_pair.h"

inline const RecordBytes kRegistration = registerRecord("shop", "articles", 7, 0);
inline const RecordBytes kChange = changeRecord("shop", "articles", 1, 5);

inline Bytes answerAndChange() { return concatenated({acceptance(kRegistration), kChange}); }

class HubTest : public testing::Test {
 protected:
  static constexpr std::uint64_t kListenTicks = 100;

  explicit HubTest(ResyncMode resync = ResyncMode::kNever, const Limits &limits = Limits())
      : hub_(limits, Resync(resync, kListenTicks, start_), poll_, log_) {}

  // Of a process that is younger than the hub.
  static Peer young(pid_t pid) {
    Peer peer;
    peer.pid = pid;
    peer.startTime = kListenTicks + 1;
    return peer;
  }

  // Returns the connection's id.
  ConnectionId welcome(Descriptor socket, Peer peer = young(getpid())) {
    hub_.welcome(std::move(socket), std::move(peer));
    return nextId_++;
  }

  void pass() {
    hub_.beginPass();
    for (const epoll_event &event : poll_.wait(0))
      hub_.serve(event.data.u64, event.events);
    hub_.endPass();
  }

  const Clock::time_point start_ = Clock::now();
  EventPoll poll_;
  Log log_{false};
  Hub hub_;
  ConnectionId nextId_ = EventPoll::kFirstConnection;
};

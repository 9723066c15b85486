// One connection through the proxy: a socket to each side, and the plan to break it.
#pragma once

#include <poll.h>

#include <chrono>
#include <mutex>
#include <optional>
#include <string>

#include "fault/proxy/tcp_proxy.h"

class Relay {
 public:
  Relay(UniqueFd client, UniqueFd server, const Plan &plan);

  // What to wait for, and whom to ask again when there is something.
  struct Watched {
    pollfd client;
    pollfd server;
  };
  Watched watched() const;
  void handle(const Watched &ready);
  // When to call release(), if it is to be called at all.
  std::optional<std::chrono::steady_clock::time_point> releaseTime() const { return releaseTime_; }
  void release();
  bool isOver() const { return over_; }

  // On any thread.
  bool hasBroken() const;
  std::string passedOn(Direction direction) const;

 private:
  struct Stream {
    Stream(int source, int sink) : from(source), to(sink) {}

    int from;
    int to;
    std::size_t count = 0;
    std::string bytes;
    bool isStalled = false;
    bool isDropped = false;  // what still comes is read and forgotten
    bool hasEnded = false;
  };

  Stream &stream(Direction direction) { return direction == Direction::toServer ? toServer_ : toClient_; }
  short eventsOf(const Stream &stream) const;
  void pass(Direction direction, short events);
  void passOn(Direction direction, const std::string &bytes);
  void breakIfDue(Direction direction, const std::string &rest);
  void end(Stream &stream);
  void finish();
  void reset();

  UniqueFd client_;
  UniqueFd server_;
  const Plan plan_;
  Stream toServer_;
  Stream toClient_;
  std::string held_;
  std::optional<std::chrono::steady_clock::time_point> releaseTime_;
  bool over_ = false;

  mutable std::mutex mutex_;  // what other threads ask for
  bool broken_ = false;
};

// When readers have to be told that they may have missed changes.
//
// Clients reconnect by themselves when a server comes back, but what they wrote or should have heard meanwhile was told
// to nobody. Only processes that were running then can be concerned: the old ones.
#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <utility>

#include "system/clock.h"
#include "system/peer.h"

enum class ResyncMode {
  kAuto,
  kAlways,  // every process counts as old
  kNever,   // nobody is told anything
};

class Resync {
 public:
  // To be made once the server listens.
  Resync(ResyncMode mode, std::uint64_t listenTicks, Clock::time_point start);

  // Was the process running before this server began to listen, or was a connection of it cut? If that can't be known,
  // it counts as old.
  bool isOld(const Peer &peer) const;

  // The server ended a connection of the process, which will come back.
  void noteCut(const Peer &peer, Clock::time_point now = Clock::now());

  // An old process has come: what it announced to nobody concerns everybody. So does what it goes on losing until it
  // has repeated its registrations, which is why a request is answered not by the next look at the clock, but by the
  // one after that.
  void request() { m_isRequested = true; }

  // Is everybody to be told now? True once for each reason: a request, and 2, 4, 8 ... 2,048 seconds after the start.
  // Clients try to reconnect 1, 3, 7 ... 2,047 seconds after the loss, so each moment comes after an attempt. To be
  // called now and then.
  bool takeDue(Clock::time_point now);

 private:
  void forgetBefore(Clock::time_point limit);

  static constexpr std::chrono::seconds kFirstSweep{2};
  static constexpr std::chrono::seconds kLastSweep{2048};
  static constexpr std::size_t kMostCut = 10'000;
  static constexpr std::chrono::minutes kClientsPatience{35};  // then it has come again, or never will

  const ResyncMode m_mode;
  const std::uint64_t m_listenTicks;
  const Clock::time_point m_start;
  std::chrono::seconds m_nextSweep = kFirstSweep;
  bool m_isRequested = false;
  bool m_isRipe = false;  // was requested before the last look at the clock
  std::map<std::pair<pid_t, std::uint64_t>, Clock::time_point> m_cut;  // by process and start time, 0 if unknown
  bool m_hasForgottenCuts = false;  // there were more than may be kept: everybody counts as old from then on
};

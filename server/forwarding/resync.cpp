#include "forwarding/resync.h"

#include <iterator>

Resync::Resync(ResyncMode mode, std::uint64_t listenTicks, Clock::time_point start)
    : m_mode(mode), m_listenTicks(listenTicks), m_start(start) {}

bool Resync::isOld(const Peer &peer) const {
  if (m_mode != ResyncMode::kAuto) return m_mode == ResyncMode::kAlways;
  const bool isUnknown = peer.pid == 0 || peer.startTime == 0;
  return isUnknown || m_hasForgottenCuts || peer.startTime <= m_listenTicks ||
         m_cut.count({peer.pid, peer.startTime}) != 0 || m_cut.count({peer.pid, 0}) != 0;
}

void Resync::noteCut(const Peer &peer, Clock::time_point now) {
  if (m_cut.size() >= kMostCut) forgetBefore(now - kClientsPatience);
  if (m_cut.size() < kMostCut) {
    m_cut[{peer.pid, peer.startTime}] = now;
  } else {
    m_hasForgottenCuts = true;
  }
}

void Resync::forgetBefore(Clock::time_point limit) {
  for (auto cut = m_cut.begin(); cut != m_cut.end();)
    cut = cut->second < limit ? m_cut.erase(cut) : std::next(cut);
}

bool Resync::takeDue(Clock::time_point now) {
  if (m_mode == ResyncMode::kNever) return false;
  bool isDue = std::exchange(m_isRipe, std::exchange(m_isRequested, false));
  for (; m_nextSweep <= kLastSweep && now - m_start >= m_nextSweep; m_nextSweep *= 2)
    isDue = true;
  return isDue;
}

#include "forwarding/interest.h"

#include <algorithm>

#include "forwarding/connection.h"

namespace {

bool isSingleBit(std::uint8_t bits) { return bits != 0 && (bits & (bits - 1)) == 0; }

std::uint8_t toBits(char mask) { return static_cast<std::uint8_t>(mask); }

}  // namespace

void Interest::add(std::uint8_t mask) {
  m_isOnlyOne = isEmpty();
  m_masks += static_cast<char>(mask);
  m_isFolded = m_isFolded || m_masks.size() > kMostMasks;
  sum();
  if (m_isFolded) m_masks.assign(1, static_cast<char>(m_actions));
}

void Interest::cancel(std::uint8_t bits) {
  if (m_isFolded || isAmbiguous(bits)) return;
  bits = static_cast<std::uint8_t>(bits & m_actions);
  if (isSingleBit(bits)) {
    takeFromFirst(bits);
  } else if (m_isOnlyOne) {
    takeFromFirst(bits);
    m_reader.cancelledTogether = static_cast<std::uint8_t>(m_reader.cancelledTogether | bits);
  }
  sum();
}

// A client drops the bits first and sends the cancellation then. Of bits that one cancellation took together, another
// thread's may have dropped a part before, and be still on its way: it must not take that part again, from what is
// registered by then. One that covers all those bits can't be such a one, for it would have left none to the other.
bool Interest::isAmbiguous(std::uint8_t bits) const {
  const std::uint8_t together = m_reader.cancelledTogether;
  return (bits & together) != 0 && (together & ~bits) != 0;
}

void Interest::takeFromFirst(std::uint8_t bits) {
  const auto first =
      std::find_if(m_masks.begin(), m_masks.end(), [bits](char mask) { return (toBits(mask) & bits) != 0; });
  if (first == m_masks.end()) return;
  *first = static_cast<char>(toBits(*first) & ~bits);
  if (*first == 0) m_masks.erase(first);
}

void Interest::sum() {
  unsigned int actions = 0;
  for (const char mask : m_masks)
    actions |= toBits(mask);
  m_actions = static_cast<std::uint8_t>(actions);
}

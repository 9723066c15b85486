#include "forwarding/interest.h"

#include <algorithm>

namespace {

bool isSingleBit(std::uint8_t bits) { return bits != 0 && (bits & (bits - 1)) == 0; }

std::uint8_t toBits(char mask) { return static_cast<std::uint8_t>(mask); }

}  // namespace

void Interest::add(std::uint8_t mask) {
  m_masks += static_cast<char>(mask);
  m_isFolded = m_isFolded || m_masks.size() > kMostMasks;
  sum();
  if (m_isFolded) m_masks.assign(1, static_cast<char>(m_actions));
}

void Interest::cancel(std::uint8_t bits) {
  if (m_isFolded) return;
  if (isSingleBit(bits)) {
    takeFromFirst(bits);
  } else if (m_masks.size() == 1 && (toBits(m_masks.front()) & ~bits) == 0) {
    m_masks.clear();
  }
  sum();
}

void Interest::takeFromFirst(std::uint8_t bit) {
  const auto first =
      std::find_if(m_masks.begin(), m_masks.end(), [bit](char mask) { return (toBits(mask) & bit) != 0; });
  if (first == m_masks.end()) return;
  *first = static_cast<char>(toBits(*first) & ~bit);
  if (*first == 0) m_masks.erase(first);
}

void Interest::sum() {
  unsigned int actions = 0;
  for (const char mask : m_masks)
    actions |= toBits(mask);
  m_actions = static_cast<std::uint8_t>(actions);
}

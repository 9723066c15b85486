// Five ready result sets of one kind, with the heap behind them.
#pragma once

#include <unistd.h>

#include <array>
#include <functional>

#include "query/result_set.h"

template <class Set>
class set_pool {
 public:
  // Takes the pointer itself, not the lock: a forked child has another lock.
  explicit set_pool(mutex *&lock) : m_lock(lock) {}

  // Throws std::bad_alloc.
  Set *take() ORV_EXCLUDES(m_lock) {
    if (Set *slot = takeSlot()) return slot;
    return new Set;
  }

  void giveBack(Set *set) ORV_EXCLUDES(m_lock) {
    if (set == nullptr) return;
    if (set->m_poolSlot != ResultSetInfo::kNoSlot) return emptySlot(set);
    // A slot that carries no number has been given back before, and must not be deleted.
    if (!isSlot(set)) delete set;
  }

  // Only what this thread took: other threads may be reading theirs at this very moment.
  void emptyAtExit() ORV_EXCLUDES(m_lock) {
    if (!m_lock->tryLock()) return;
    for (Set &set : m_slots) {
      const unsigned char slot = set.m_poolSlot;
      if (slot != ResultSetInfo::kNoSlot && m_takers[slot] == gettid()) release(set);
    }
    m_lock->unlock();
  }

 private:
  static constexpr unsigned char kSize = 5;

  Set *takeSlot() ORV_EXCLUDES(m_lock) {
    const mutex_guard scanning(m_lock);
    for (unsigned char slot = 0; slot < kSize; ++slot) {
      if (m_slots[slot].m_poolSlot != ResultSetInfo::kNoSlot) continue;
      m_slots[slot].m_poolSlot = slot;
      m_takers[slot] = gettid();
      return &m_slots[slot];
    }
    return nullptr;
  }

  void emptySlot(Set *set) ORV_EXCLUDES(m_lock) {
    const mutex_guard emptying(m_lock);
    release(*set);
  }

  static void release(Set &set) {
    set.free();
    set.m_poolSlot = ResultSetInfo::kNoSlot;
  }

  // Unchecked: it looks at addresses alone, which no lock guards.
  ORV_UNCHECKED bool isSlot(const Set *set) const {
    const std::less<const Set *> before;
    return !before(set, m_slots.data()) && before(set, m_slots.data() + kSize);
  }

  mutex *&m_lock;
  std::array<Set, kSize> m_slots ORV_GUARDED_BY(m_lock);
  std::array<pid_t, kSize> m_takers ORV_GUARDED_BY(m_lock){};
};

// Changes that have been read and not been fanned out yet.
//
// A change waits for the end of a complete pass over all descriptors that was begun after the change was read. Whoever
// had registered before the change was sent is known by then, in whatever order the descriptors were looked at.
#pragma once

#include <cstddef>
#include <utility>
#include <vector>

#include "forwarding/record.h"
#include "forwarding/routes.h"

class Transit {
 public:
  struct Change {
    ConnectionId sender;
    _ORV_DB_MESSAGE record;
  };

  void add(ConnectionId sender, const _ORV_DB_MESSAGE &record) { m_fresh.push_back({sender, record}); }
  // There were more than memory may hold.
  void lose() { m_hasLostFresh = true; }

  bool isEmpty() const { return m_fresh.empty() && !hasDue() && !m_hasLostFresh && !m_hasLostDue; }
  std::size_t bytes() const { return (m_fresh.size() + m_due.size() - m_next) * kRecordSize; }

  // What has been read up to now is due when this pass ends, behind what was due before and is still there.
  void beginPass() {
    if (hasDue()) {
      m_due.erase(m_due.begin(), m_due.begin() + static_cast<std::ptrdiff_t>(std::exchange(m_next, 0)));
      m_due.insert(m_due.end(), m_fresh.begin(), m_fresh.end());
    } else {
      m_next = 0;
      std::swap(m_fresh, m_due);
    }
    clear(m_fresh);
    m_hasLostDue = std::exchange(m_hasLostFresh, false) || m_hasLostDue;
  }

  bool hasDue() const { return m_next < m_due.size(); }
  const Change &takeDue() { return m_due[m_next++]; }
  bool takeLostDue() { return std::exchange(m_hasLostDue, false); }

 private:
  static constexpr std::size_t kKeptChanges = 4096;

  static void clear(std::vector<Change> &changes) {
    changes.clear();
    if (changes.capacity() > kKeptChanges) changes.shrink_to_fit();
  }

  std::vector<Change> m_fresh;
  std::vector<Change> m_due;
  std::size_t m_next = 0;  // the first of the due ones that has not been taken
  bool m_hasLostFresh = false;
  bool m_hasLostDue = false;
};

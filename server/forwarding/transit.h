// Changes that have been read and not been fanned out yet.
//
// A change waits for the end of a complete pass over all descriptors that was begun after the change was read. Whoever
// had registered before the change was sent is known by then, in whatever order the descriptors were looked at.
#pragma once

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

  void add(ConnectionId sender, const _ORV_DB_MESSAGE &record) { m_fresh.changes.push_back({sender, record}); }
  // There were more than memory may hold.
  void lose() { m_fresh.hasLost = true; }

  bool isEmpty() const { return m_fresh.isEmpty() && m_due.isEmpty(); }
  std::size_t bytes() const { return (m_fresh.changes.size() + m_due.changes.size()) * sizeof(_ORV_DB_MESSAGE); }

  // What has been read up to now is due when this pass ends.
  void beginPass() { std::swap(m_fresh, m_due); }
  const std::vector<Change> &due() const { return m_due.changes; }
  bool hasLostDue() const { return m_due.hasLost; }
  void endPass() { m_due.clear(); }

 private:
  struct Batch {
    bool isEmpty() const { return changes.empty() && !hasLost; }
    void clear() {
      hasLost = false;
      changes.clear();
      if (changes.capacity() > kKeptChanges) changes.shrink_to_fit();
    }
    std::vector<Change> changes;
    bool hasLost = false;
  };
  static constexpr std::size_t kKeptChanges = 4096;

  Batch m_fresh;
  Batch m_due;
};

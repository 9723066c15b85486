// What a connection has not taken yet.
//
// Acknowledgements go first. Changes wait one by one until there are too many of them; then they are collapsed, which
// costs no memory however many they were: each key keeps the actions that are still to be told of it ("untold") and
// tells them with one record of row id 0 each. A client reloads on such a record what its table then holds, so it may
// overtake changes that wait one by one, but not the other way round: until all that was collapsed has been handed
// over, further changes are collapsed, too. What is told to everybody holds no change back.
#pragma once

#include <cstdint>
#include <list>
#include <vector>

#include "forwarding/byte_queue.h"
#include "forwarding/interest.h"
#include "forwarding/record.h"

class Outbox {
 public:
  void acknowledge(const _ORV_DB_MESSAGE &reply);
  void append(const _ORV_DB_MESSAGE &change);
  // With row id 0, once for each action.
  void tell(Interest &interest, std::uint8_t actions);

  // From now on changes are told with row id 0, until all of those have been handed over. Returns the changes that
  // waited one by one.
  std::vector<_ORV_DB_MESSAGE> collapse();
  bool isCollapsed() const { return m_isCollapsed && (!m_drawn.isEmpty() || !m_untold.empty()); }

  // The interest goes away.
  void forget(Interest &interest);
  // The connection does.
  void discard();

  enum class Progress {
    kDone,
    kBlocked,  // the socket takes no more for now
    kMore,     // it is others' turn
    kFailed,   // the system can't send, though somebody may be there to read
  };
  // Hands over what the socket takes at once. One whose other end is gone takes everything, for nobody.
  Progress flush(int socket);

  bool isEmpty() const { return m_started.isEmpty() && m_acks.isEmpty() && !hasWhole(); }
  std::size_t changeBytes() const { return m_changes.size(); }
  std::size_t largestBytes() const { return m_largest; }
  std::size_t ackCount() const { return m_acks.size() / kRecordSize; }

 private:
  bool hasWhole() const { return !m_drawn.isEmpty() || !m_changes.isEmpty() || !m_untold.empty(); }
  void drawUntold();
  void consume(std::size_t count);
  void take(ByteQueue &queue, std::size_t &sent);

  ByteQueue m_started;  // the rest of a record that is partly sent
  ByteQueue m_acks;     // whole records, as in the following
  ByteQueue m_drawn;    // of row id 0, a few of those that are untold
  ByteQueue m_changes;
  std::list<Interest *> m_untold;  // first in, first out
  std::size_t m_largest = 0;       // that the changes have ever been
  bool m_isCollapsed = false;
};

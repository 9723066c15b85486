// What the server does with records: it knows the connections, keeps what they registered and fans changes out.
//
// Its owner makes one pass over all descriptors after the other, each between beginPass() and endPass().
#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <set>
#include <unordered_map>
#include <vector>

#include "forwarding/connection.h"
#include "forwarding/counters.h"
#include "forwarding/limits.h"
#include "forwarding/resync.h"
#include "forwarding/routes.h"
#include "forwarding/transit.h"
#include "system/event_poll.h"
#include "system/log.h"

class Hub {
 public:
  using Connections = std::unordered_map<ConnectionId, std::unique_ptr<Connection>>;

  Hub(const Limits &limits, Resync resync, EventPoll &poll, Log &log);

  // A client that is kept, and read at once: what it registered before it was accepted was registered in time.
  void welcome(Descriptor socket, Peer peer);
  // One that is not kept. What it has announced counts if it is heard; it comes again, and its registrations then.
  enum class Hearing { kHeard, kIgnored };
  void refuse(Descriptor socket, const Peer &peer, Hearing hearing);

  void beginPass() { m_transit.beginPass(); }
  void serve(ConnectionId id, std::uint32_t events);
  void endPass();
  // Tells everybody, when it is time for it. To be called now and then.
  void tick(Clock::time_point now);

  // Somebody may have been missed: everybody is told.
  void requestResync() { m_resync.request(); }

  // Is there work to go on with before anything else happens?
  bool isBusy() const;
  // Has everything been handed over?
  bool isDrained() const;

  const Connections &connections() const { return m_connections; }
  std::size_t connectionsOf(uid_t uid) const;
  const Counters &counters() const { return m_counters; }
  const Routes &routes() const { return m_routes; }
  std::size_t queuedBytes() const { return m_queuedBytes; }

 private:
  void receive(Connection &connection);
  void hearOut(Connection &connection);
  bool handle(Connection &sender, const _ORV_DB_MESSAGE &record);
  void registerKey(Connection &reader, const _ORV_DB_MESSAGE &record);
  void giveEverything(Connection &reader);
  void tellNow(Connection &reader, std::string_view key, std::uint8_t actions);
  void acknowledge(Connection &reader, _ORV_DB_MESSAGE record, std::uint8_t status);
  void takeChange(ConnectionId sender, const _ORV_DB_MESSAGE &record);

  void fanOut();
  void tellOfLost();
  void forward(const Transit::Change &change);
  void deliver(Connection &reader, Interest *interest, const _ORV_DB_MESSAGE &record);
  void tell(Interest &interest, std::uint8_t actions);
  void tellEverybody();
  bool sweepOne();
  void sweep();

  std::size_t registeredKeys() const { return m_routes.interestCount() - m_closedInterests; }
  std::size_t usedBytes() const { return m_queuedBytes + m_transit.bytes(); }
  bool hasRoom() const { return usedBytes() <= m_limits.totalQueueBytes; }
  void makeRoom();
  void collapse(Connection &reader);
  void touch(Connection &connection);
  void addTouched(Connection &connection);
  void flushTouched();
  Outbox::Progress flush(Connection &connection);

  void cut(Connection &connection, const char *reason);
  void end(Connection &connection);
  void closeEnded();
  void dropInterestsOfClosed();

  const Limits m_limits;
  Resync m_resync;
  EventPoll &m_poll;
  Log &m_log;
  Counters m_counters;
  Routes m_routes;
  Transit m_transit;
  Connections m_connections;
  std::unordered_map<uid_t, std::size_t> m_connectionsOfUid;
  ConnectionId m_nextId = EventPoll::kFirstConnection;
  std::set<ConnectionId> m_wantEverything;
  std::vector<Connection *> m_touched;                // to be flushed at the end of this turn
  std::vector<ConnectionId> m_ended;                  // to be closed then
  std::deque<ConnectionId> m_sweeping;                // to be told of everything, piece by piece
  std::vector<std::unique_ptr<Connection>> m_closed;  // whose interests are dropped piece by piece
  std::size_t m_closedInterests = 0;
  std::size_t m_queuedBytes = 0;           // changes in all outboxes
  std::size_t m_unflushedBytes = 0;        // that were added since the last flush
  std::vector<_ORV_DB_MESSAGE> m_records;  // of the read under way
};

// One client: what it sent, cut into records; what it wants; what it has not taken yet.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "forwarding/interest_list.h"
#include "forwarding/outbox.h"
#include "forwarding/routes.h"
#include "system/descriptor.h"
#include "system/peer.h"

class Connection {
 public:
  Connection(ConnectionId id, Descriptor socket, Peer peer);
  Connection(const Connection &) = delete;
  Connection &operator=(const Connection &) = delete;

  ConnectionId id() const { return m_id; }
  int descriptor() const { return m_socket.get(); }
  const Peer &peer() const { return m_peer; }
  Outbox &outbox() { return m_outbox; }
  const Outbox &outbox() const { return m_outbox; }
  InterestList &interests() { return m_interests; }
  const InterestList &interests() const { return m_interests; }

  // Reads what is there now, not what is added meanwhile, and appends the whole records to `records`. False when the
  // client has closed its end; what came before counts.
  bool receive(std::vector<_ORV_DB_MESSAGE> &records);

  // The client is told nothing more, and its end sees that at once.
  void close();

  // What the hub, the routes and the interests have to remember of it.
  std::size_t heldRegistrations = 0;   // of all its interests together
  bool isOld = false;                  // its process may have missed changes, see Resync
  bool wantsEverything = false;        // it registered more keys than it may
  bool isOutOfStep = false;            // what it sends makes no sense any more
  bool isEnded = false;                // it is about to be closed
  bool isBlocked = false;              // its socket is to say when it takes more
  bool isTouched = false;              // it is to be flushed at the end of this turn
  std::uint8_t cancelledTogether = 0;  // bits that one cancellation took at once, see Interest::cancel

 private:
  void cut(std::string_view bytes, std::vector<_ORV_DB_MESSAGE> &records);

  const ConnectionId m_id;
  Descriptor m_socket;
  const Peer m_peer;
  std::string m_received;    // the beginning of a record
  InterestList m_interests;  // before the outbox, which points at some of them
  Outbox m_outbox;
};

// One client: what it sent, cut into records, and what it has not taken yet.
#pragma once

#include <string>
#include <vector>

#include "descriptor.h"
#include "event/message.h"

class Connection {
 public:
  explicit Connection(Descriptor socket) : m_socket(std::move(socket)) {}

  int descriptor() const { return m_socket.get(); }

  // Reads once what is there. False when the client has closed its end; the records that came before count.
  bool receive(std::vector<_ORV_DB_MESSAGE> &records);

  // Queues a record. False when the client has left more unread than it may.
  bool send(const _ORV_DB_MESSAGE &record);

  // Hands over as much of the queue as the socket takes. A client that can't be written to any more loses its queue,
  // but what it sent before can still be received.
  void flush();

  bool hasUnsent() const { return !m_unsent.empty(); }

 private:
  Descriptor m_socket;
  std::string m_received;  // the beginning of a record
  std::string m_unsent;    // whole records, but for the first of which a part may be sent
};

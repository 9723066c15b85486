// Who registered for what.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "event/message.h"

// Names a connection for as long as the server runs: unlike a descriptor's number it is never used again.
using ConnectionId = std::uint64_t;

class Routes {
 public:
  // The database and table that a record is about, as the clients see them: up to the first NUL, 63 bytes at most.
  using Key = std::pair<std::string, std::string>;
  static Key keyOf(const _ORV_DB_MESSAGE &record);

  // Actions of several registrations for one key add up.
  void add(ConnectionId reader, const Key &key, std::uint8_t actions);
  void remove(ConnectionId reader, const Key &key, std::uint8_t actions);
  void forget(ConnectionId reader);

  // Those registered for the key with one of the actions at least.
  std::vector<ConnectionId> readersOf(const Key &key, std::uint8_t actions) const;

 private:
  using Readers = std::map<ConnectionId, std::uint8_t>;  // their actions, never 0
  std::map<Key, Readers> m_readers;                      // no key without a reader
};

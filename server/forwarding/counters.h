#pragma once

#include <cstddef>
#include <cstdint>

// Of the whole server, since its start; the status report shows them.
struct Counters {
  std::uint64_t recordsIn = 0;
  std::uint64_t recordsOut = 0;  // handed to a connection's outbox, one by one
  std::uint64_t collapsed = 0;   // changes told with row id 0 in place of one by one
  std::uint64_t overflows = 0;   // times that an outbox was collapsed
  std::uint64_t bad = 0;         // records that were ignored or ended a connection
  std::uint64_t refused = 0;     // connections that were not kept
  std::uint64_t cut = 0;         // connections that the server ended
  std::uint64_t overKeys = 0;    // connections that registered more keys than they may
  std::uint64_t resyncs = 0;     // times that everybody was told of everything
  std::size_t largestQueue = 0;  // of one connection, in bytes
};

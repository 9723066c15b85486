// Who registered for what.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "forwarding/interest.h"
#include "forwarding/siphash.h"

// Names a connection for as long as the server runs: unlike a descriptor's number it is never used again.
using ConnectionId = std::uint64_t;

// A key and those who registered it, in the order of their connections' ids.
struct Route {
  struct Reader {
    ConnectionId id;
    Interest *interest;
  };
  std::string key;
  std::vector<Reader> readers;
};

class Routes {
 public:
  explicit Routes(SipKey seed) : m_routes(0, Hash{seed}) {}

  Interest &add(Connection &reader, std::string_view key, std::uint8_t mask);
  void cancel(const Connection &reader, std::string_view key, std::uint8_t bits);
  void remove(Interest &interest);

  // Null if there is none.
  const Route *find(std::string_view key) const;
  Interest *find(const Connection &reader, std::string_view key) const;

  std::size_t keyCount() const { return m_routes.size(); }
  std::size_t interestCount() const { return m_interestCount; }

 private:
  struct Hash {
    SipKey seed;
    std::size_t operator()(std::string_view key) const { return static_cast<std::size_t>(SipHash(seed)(key)); }
  };

  Route &routeOf(std::string_view key);
  template <class Change>
  static void countChange(Interest &interest, Change change);

  // The views point into the routes.
  std::unordered_map<std::string_view, std::unique_ptr<Route>, Hash> m_routes;
  std::size_t m_interestCount = 0;
};

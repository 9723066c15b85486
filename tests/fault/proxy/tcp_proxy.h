// A relay between the library and the database server that breaks a connection behind an exact byte.
//
//   TcpProxy proxy(databaseServer());
//   proxy.breakNext({Fault::reset, Direction::toClient, 100});  // the next connection; later ones are left alone
//   orv_db_open("127.0.0.1", ..., proxy.port());
//
// Its poll loop runs on a thread of its own.
#pragma once

#include <cstddef>
#include <list>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "support/database.h"
#include "support/unique_fd.h"

enum class Direction { toServer, toClient };

// What happens once so many bytes have been passed on in one direction.
enum class Fault {
  none,
  reset,   // both sides are told that the connection is broken
  finish,  // both sides see its end
  tear,    // the receiver alone sees the end; the other direction goes on
  split,   // the rest comes a moment later, on its own
  stall,   // nothing more is read from the sender, nor said to the receiver
};

struct Plan {
  Fault fault = Fault::none;
  Direction direction = Direction::toServer;
  std::size_t byte = 0;
};

class Relay;

class TcpProxy {
 public:
  explicit TcpProxy(const DatabaseServer &server);
  ~TcpProxy();
  TcpProxy(const TcpProxy &) = delete;
  TcpProxy &operator=(const TcpProxy &) = delete;

  unsigned int port() const { return port_; }
  void breakNext(const Plan &plan);

  // Since the last breakNext(): how many connections there were, and whether the first has met its fault.
  int connectionCount() const;
  bool hasBroken() const;
  // What the first one has passed on, if it was to meet no fault.
  std::string passedOn(Direction direction) const;

 private:
  void run();
  void accept();

  const unsigned int serverPort_;
  UniqueFd listener_;
  unsigned int port_ = 0;
  UniqueFd stop_;
  std::list<std::shared_ptr<Relay>> relays_;  // of the thread alone

  mutable std::mutex mutex_;
  Plan next_;
  int connections_ = 0;
  std::shared_ptr<Relay> planned_;

  std::thread thread_;
};

// One connection of the notification peer's process: what is read from it, and what waits to be sent.
#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <vector>

#include "support/notification_peer_protocol.h"
#include "support/unique_fd.h"

class PeerConnection {
 public:
  using Bytes = std::vector<unsigned char>;
  using Clock = std::chrono::steady_clock;

  struct Handlers {
    std::function<void(const Bytes &record)> record;
    std::function<void(const Bytes &rest)> closedByOtherSide;
  };

  explicit PeerConnection(Handlers handlers) : handlers_(std::move(handlers)) {}

  // A connection can be given its limit before it is made.
  void open(UniqueFd descriptor);
  bool isOpen() const { return static_cast<bool>(descriptor_); }
  int descriptor() const { return descriptor_.get(); }
  void close();

  void limitReading(PeerLimit limit, std::uint64_t bytes);
  bool wantsToRead() const { return isOpen() && allowance() > 0; }
  // Reads all that is there and allowed.
  void read();

  // `notBefore` holds the bytes back; in pieces, each one waits until the one before has been read.
  void send(const Bytes &bytes, Clock::time_point notBefore = {});
  void sendInPieces(const Bytes &bytes, std::size_t pieceLength, Clock::time_point notBefore = {});
  bool hasBytesToSend() const { return isOpen() && !output_.empty(); }
  // Sends what can be sent now.
  void flush();

 private:
  struct Piece {
    Bytes bytes;
    Clock::time_point notBefore;
    bool afterTheOneBeforeIsRead;
  };

  std::uint64_t allowance() const { return limit_ == PeerLimit::none ? UINT64_MAX : bytesLeft_; }
  void closeIfSpent();
  bool isDue(const Piece &piece) const;
  void take(const unsigned char *bytes, std::size_t length);

  Handlers handlers_;
  UniqueFd descriptor_;
  PeerLimit limit_ = PeerLimit::none;
  std::uint64_t bytesLeft_ = 0;
  Bytes partialRecord_;
  std::deque<Piece> output_;
};

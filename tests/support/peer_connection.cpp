#include "support/peer_connection.h"

#include <linux/sockios.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>

#include "event/message.h"

void PeerConnection::open(UniqueFd descriptor) {
  descriptor_ = std::move(descriptor);
  closeIfSpent();
}

void PeerConnection::close() {
  descriptor_.reset();
  output_.clear();
}

void PeerConnection::limitReading(PeerLimit limit, std::uint64_t bytes) {
  limit_ = limit;
  bytesLeft_ = bytes;
  closeIfSpent();
}

void PeerConnection::closeIfSpent() {
  if (limit_ == PeerLimit::thenClose && bytesLeft_ == 0) close();
}

void PeerConnection::read() {
  std::array<unsigned char, 4096> buffer;
  while (wantsToRead()) {
    const std::size_t wanted = static_cast<std::size_t>(std::min<std::uint64_t>(buffer.size(), allowance()));
    const ssize_t length = recv(descriptor(), buffer.data(), wanted, MSG_DONTWAIT);
    if (length < 0 && errno == EAGAIN) return;
    if (length < 0 && errno == EINTR) continue;
    // A reset is an end, too: the other side closed with bytes of ours unread.
    if (length <= 0) {
      close();
      handlers_.closedByOtherSide(partialRecord_);
      return;
    }
    take(buffer.data(), static_cast<std::size_t>(length));
  }
}

void PeerConnection::take(const unsigned char *bytes, std::size_t length) {
  for (std::size_t i = 0; i < length; ++i) {
    partialRecord_.push_back(bytes[i]);
    if (partialRecord_.size() == sizeof(_ORV_DB_MESSAGE)) {
      handlers_.record(partialRecord_);
      partialRecord_.clear();
    }
  }
  if (limit_ == PeerLimit::none) return;
  bytesLeft_ -= length;
  closeIfSpent();
}

void PeerConnection::send(const Bytes &bytes, Clock::time_point notBefore) {
  output_.push_back({bytes, notBefore, false});
  flush();
}

void PeerConnection::sendInPieces(const Bytes &bytes, std::size_t pieceLength, Clock::time_point notBefore) {
  auto begin = bytes.begin();
  while (begin != bytes.end()) {
    const auto left = static_cast<std::size_t>(bytes.end() - begin);
    const auto end = begin + static_cast<std::ptrdiff_t>(std::min(pieceLength, left));
    output_.push_back({Bytes(begin, end), notBefore, true});
    begin = end;
  }
  flush();
}

bool PeerConnection::isDue(const Piece &piece) const {
  if (Clock::now() < piece.notBefore) return false;
  int unread = 0;
  return !piece.afterTheOneBeforeIsRead || ioctl(descriptor(), SIOCOUTQ, &unread) != 0 || unread == 0;
}

void PeerConnection::flush() {
  while (hasBytesToSend() && isDue(output_.front())) {
    Piece &piece = output_.front();
    const ssize_t length = ::send(descriptor(), piece.bytes.data(), piece.bytes.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
    if (length < 0) {
      // Whether the other side is gone is seen where its bytes are read.
      if (errno != EAGAIN && errno != EINTR) output_.clear();
      return;
    }
    piece.bytes.erase(piece.bytes.begin(), piece.bytes.begin() + length);
    if (!piece.bytes.empty()) return;
    output_.pop_front();
  }
}

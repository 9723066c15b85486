#include "fault/proxy/relay.h"

#include <sys/socket.h>

#include <algorithm>
#include <utility>

namespace {

constexpr std::chrono::milliseconds kSplitPause{1};

void sendAll(int fd, const std::string &bytes) {
  std::size_t sent = 0;
  while (sent < bytes.size()) {
    const ssize_t written = send(fd, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
    if (written <= 0) return;  // the other side is gone, which its own end will show
    sent += static_cast<std::size_t>(written);
  }
}

// Closing a socket with unread bytes would reset the connection.
void closeCleanly(UniqueFd &fd) {
  char forgotten[4096];
  while (fd && recv(fd.get(), forgotten, sizeof forgotten, MSG_DONTWAIT) > 0) {
  }
  fd.reset();
}

// Overtakes nothing: on this machine, what has been sent is in the receiver's buffer already, and stays readable there.
void closeByReset(UniqueFd &fd) {
  const linger atOnce{1, 0};
  setsockopt(fd.get(), SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
  fd.reset();
}

}  // namespace

Relay::Relay(UniqueFd client, UniqueFd server, const Plan &plan)
    : client_(std::move(client)),
      server_(std::move(server)),
      plan_(plan),
      toServer_(client_.get(), server_.get()),
      toClient_(server_.get(), client_.get()) {
  if (plan.fault != Fault::none && plan.byte == 0) breakIfDue(plan.direction, "");
}

short Relay::eventsOf(const Stream &stream) const {
  if (stream.isStalled) return POLLRDHUP;
  const bool isHeld = releaseTime_ && &stream == (plan_.direction == Direction::toServer ? &toServer_ : &toClient_);
  return isHeld ? 0 : POLLIN;
}

Relay::Watched Relay::watched() const {
  const auto entry = [this](const Stream &stream) {
    return pollfd{stream.hasEnded ? -1 : stream.from, eventsOf(stream), 0};
  };
  return {entry(toServer_), entry(toClient_)};
}

void Relay::handle(const Watched &ready) {
  if (ready.client.revents != 0) pass(Direction::toServer, ready.client.revents);
  if (!over_ && ready.server.revents != 0) pass(Direction::toClient, ready.server.revents);
}

void Relay::pass(Direction direction, short events) {
  Stream &source = stream(direction);
  if (releaseTime_ && direction == plan_.direction) return;
  if (source.isStalled) return (events & (POLLRDHUP | POLLHUP | POLLERR)) != 0 ? finish() : void();
  std::string bytes(65536, '\0');
  const ssize_t length = recv(source.from, bytes.data(), bytes.size(), MSG_DONTWAIT);
  if (length < 0) return finish();
  if (length == 0) return end(source);
  if (source.isDropped) return;
  bytes.resize(static_cast<std::size_t>(length));
  const bool isPlanned = plan_.fault != Fault::none && direction == plan_.direction && !hasBroken();
  const std::size_t now = isPlanned ? std::min(bytes.size(), plan_.byte - source.count) : bytes.size();
  passOn(direction, bytes.substr(0, now));
  if (isPlanned && source.count == plan_.byte) breakIfDue(direction, bytes.substr(now));
}

void Relay::passOn(Direction direction, const std::string &bytes) {
  Stream &sink = stream(direction);
  {
    const std::lock_guard<std::mutex> noting(mutex_);
    sink.count += bytes.size();
    if (plan_.fault == Fault::none) sink.bytes += bytes;
  }
  sendAll(sink.to, bytes);
}

void Relay::breakIfDue(Direction direction, const std::string &rest) {
  {
    const std::lock_guard<std::mutex> noting(mutex_);
    broken_ = true;
  }
  switch (plan_.fault) {
    case Fault::reset:
      return reset();
    case Fault::finish:
      return finish();
    case Fault::tear:
      stream(direction).isDropped = true;
      shutdown(stream(direction).to, SHUT_WR);
      return;
    case Fault::split:
      held_ = rest;
      releaseTime_ = std::chrono::steady_clock::now() + kSplitPause;
      return;
    case Fault::stall:
      stream(direction).isStalled = true;
      return;
    case Fault::none:
      return;
  }
}

void Relay::release() {
  releaseTime_.reset();
  passOn(plan_.direction, held_);
}

void Relay::end(Stream &stream) {
  stream.hasEnded = true;
  shutdown(stream.to, SHUT_WR);
  if (toServer_.hasEnded && toClient_.hasEnded) finish();
}

void Relay::finish() {
  over_ = true;
  closeCleanly(client_);
  closeCleanly(server_);
}

void Relay::reset() {
  over_ = true;
  closeByReset(client_);
  closeByReset(server_);
}

bool Relay::hasBroken() const {
  const std::lock_guard<std::mutex> asking(mutex_);
  return broken_;
}

std::string Relay::passedOn(Direction direction) const {
  const std::lock_guard<std::mutex> asking(mutex_);
  return direction == Direction::toServer ? toServer_.bytes : toClient_.bytes;
}

// The process behind NotificationPeer; see notification_peer.h for what it can do. One thread, one poll loop; nothing
// in it blocks, so that a test can stop reading, or writing, wherever it wants.
#include <poll.h>
#include <sys/socket.h>
#include <sys/uio.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <deque>
#include <iostream>
#include <map>
#include <stdexcept>
#include <system_error>
#include <vector>

#include "event/message.h"
#include "support/notification_peer.h"
#include "support/peer_connection.h"
#include "support/private_root.h"

namespace {

// How often the peer looks whether bytes that it holds back are due.
constexpr int kHeldBackPollMs = 1;
constexpr std::size_t kPieceLength = 50;

[[noreturn]] void fail(const std::string &what) { throw std::system_error(errno, std::generic_category(), what); }

class Peer {
 public:
  // Returns when the test closes its end of the control socket.
  void run();

 private:
  using Clock = PeerConnection::Clock;

  void waitForWork();
  bool carryOutCommand();
  void carryOut(const PeerCommandHeader &header, const Bytes &bytes);
  void report(PeerEvent event, int connection = -1, std::uint64_t number = 0, const Bytes &bytes = {});
  void sendReports();

  void listen();
  void stopListening();
  void acceptConnections();
  void serveConnections();
  PeerConnection &connection(int number);
  PeerConnection &openConnection(int number);
  void takeRecord(int number, const Bytes &record);
  void answer(PeerConnection &connection, const Bytes &registration);

  // Kept, since filling that much anew for every command takes longer than all the rest.
  Bytes packet_ = Bytes(kPeerPacketSize);
  UniqueFd listener_;
  int connectionCount_ = 0;
  std::map<int, PeerConnection> connections_;
  std::deque<Bytes> reports_;

  Answer answer_ = Answer::accept;
  std::chrono::milliseconds answerDelay_{0};
  Bytes answerFollowedBy_;
};

void Peer::run() {
  bool go = true;
  while (go) {
    waitForWork();
    acceptConnections();
    serveConnections();
    go = carryOutCommand();
    sendReports();
  }
  stopListening();
}

void Peer::waitForWork() {
  std::vector<pollfd> watched;
  const short controlEvents = reports_.empty() ? POLLIN : POLLIN | POLLOUT;
  watched.push_back({kPeerControlDescriptor, controlEvents, 0});
  if (listener_) watched.push_back({listener_.get(), POLLIN, 0});
  int timeout = -1;
  for (const auto &[number, connection] : connections_) {
    if (connection.wantsToRead()) watched.push_back({connection.descriptor(), POLLIN, 0});
    if (connection.hasBytesToSend()) timeout = kHeldBackPollMs;
  }
  poll(watched.data(), watched.size(), timeout);
}

bool Peer::carryOutCommand() {
  PeerCommandHeader header{};
  iovec parts[] = {{&header, sizeof header}, {packet_.data(), packet_.size()}};
  msghdr packet{};
  packet.msg_iov = parts;
  packet.msg_iovlen = 2;
  const ssize_t length = recvmsg(kPeerControlDescriptor, &packet, MSG_DONTWAIT);
  if (length < 0 && (errno == EAGAIN || errno == EINTR)) return true;
  if (length <= 0) return false;
  const Bytes bytes(packet_.begin(), packet_.begin() + (length - static_cast<ssize_t>(sizeof header)));
  std::string failure;
  try {
    carryOut(header, bytes);
  } catch (const std::exception &problem) {
    failure = problem.what();
  }
  report(PeerEvent::done, -1, 0, Bytes(failure.begin(), failure.end()));
  return true;
}

void Peer::carryOut(const PeerCommandHeader &header, const Bytes &bytes) {
  switch (header.command) {
    case PeerCommand::answer:
      answer_ = static_cast<Answer>(header.mode);
      answerDelay_ = std::chrono::milliseconds(header.number);
      answerFollowedBy_ = bytes;
      break;
    case PeerCommand::send:
      openConnection(header.connection).send(bytes);
      break;
    case PeerCommand::sendInPieces:
      openConnection(header.connection).sendInPieces(bytes, static_cast<std::size_t>(header.number));
      break;
    case PeerCommand::limitReading:
      connection(header.connection).limitReading(static_cast<PeerLimit>(header.mode), header.number);
      break;
    case PeerCommand::close:
      connection(header.connection).close();
      break;
    case PeerCommand::stopListening:
      stopListening();
      break;
    case PeerCommand::listen:
      listen();
      break;
    case PeerCommand::synchronise:
      acceptConnections();
      serveConnections();
      break;
  }
}

void Peer::report(PeerEvent event, int connection, std::uint64_t number, const Bytes &bytes) {
  const PeerEventHeader header{event, connection, number};
  Bytes packet(sizeof header);
  std::memcpy(packet.data(), &header, sizeof header);
  packet.insert(packet.end(), bytes.begin(), bytes.end());
  reports_.push_back(std::move(packet));
}

void Peer::sendReports() {
  while (!reports_.empty()) {
    const Bytes &packet = reports_.front();
    if (send(kPeerControlDescriptor, packet.data(), packet.size(), MSG_DONTWAIT | MSG_NOSIGNAL) < 0) return;
    reports_.pop_front();
  }
}

// An address that is taken is a failure: the socket of another server is never removed.
void Peer::listen() {
  UniqueFd listener(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::string(kServerSocketPath).copy(address.sun_path, sizeof address.sun_path - 1);
  if (bind(listener.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0) fail("bind");
  if (::listen(listener.get(), SOMAXCONN) != 0) fail("listen");
  listener_ = std::move(listener);
}

void Peer::stopListening() {
  if (!listener_) return;
  listener_.reset();
  unlink(kServerSocketPath);
}

void Peer::acceptConnections() {
  while (listener_) {
    UniqueFd descriptor(accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC));
    if (!descriptor) return;
    ucred other{};
    socklen_t length = sizeof other;
    getsockopt(descriptor.get(), SOL_SOCKET, SO_PEERCRED, &other, &length);
    const int number = connectionCount_++;
    connection(number).open(std::move(descriptor));
    report(PeerEvent::connected, number, static_cast<std::uint64_t>(other.pid));
  }
}

void Peer::serveConnections() {
  for (auto &[number, connection] : connections_) {
    if (connection.wantsToRead()) connection.read();
    connection.flush();
  }
}

PeerConnection &Peer::connection(int number) {
  const auto found = connections_.find(number);
  if (found != connections_.end()) return found->second;
  PeerConnection::Handlers handlers{
      [this, number](const Bytes &record) { takeRecord(number, record); },
      [this, number](const Bytes &rest) { report(PeerEvent::closed, number, 0, rest); },
  };
  return connections_.emplace(number, PeerConnection(std::move(handlers))).first->second;
}

PeerConnection &Peer::openConnection(int number) {
  PeerConnection &found = connection(number);
  if (!found.isOpen()) throw std::runtime_error("connection " + std::to_string(number) + " is not open");
  return found;
}

void Peer::takeRecord(int number, const Bytes &record) {
  report(PeerEvent::record, number, 0, record);
  if (record[0] == MSG_REGISTER) answer(connection(number), record);
}

void Peer::answer(PeerConnection &connection, const Bytes &registration) {
  if (answer_ == Answer::silence) return;
  Bytes reply = registration;
  reply[1] = answer_ == Answer::refuse ? 0 : kStatusAccepted;
  reply.insert(reply.end(), answerFollowedBy_.begin(), answerFollowedBy_.end());
  const Clock::time_point due = Clock::now() + answerDelay_;
  if (answer_ == Answer::inPieces) {
    connection.sendInPieces(reply, kPieceLength, due);
  } else {
    connection.send(reply, due);
  }
}

}  // namespace

int main() {
  try {
    if (!inPrivateRoot())
      throw std::runtime_error("runs only under private_root: it must not take a live server's place");
    Peer().run();
    return 0;
  } catch (const std::exception &problem) {
    std::cerr << "notification_peer: " << problem.what() << '\n';
    return 1;
  }
}

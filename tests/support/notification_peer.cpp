#include "support/notification_peer.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/uio.h>
#include <sys/wait.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iomanip>
#include <stdexcept>
#include <system_error>

namespace {

[[noreturn]] void fail(const std::string &what) { throw std::system_error(errno, std::generic_category(), what); }

// Offsets and sizes of the protocol, on purpose not taken from the library's structure.
constexpr std::size_t kDbOffset = 4;
constexpr std::size_t kTableOffset = 68;
constexpr std::size_t kActionOffset = 132;
constexpr std::size_t kRowIdOffset = 133;
constexpr std::size_t kNameLength = 63;

void putName(RecordBytes &record, std::size_t offset, const std::string &name) {
  std::memcpy(record.data() + offset, name.data(), std::min(name.size(), kNameLength));
}

int remainingMilliseconds(std::chrono::steady_clock::time_point deadline) {
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
  return static_cast<int>(std::max<std::chrono::milliseconds::rep>(left.count(), 0));
}

PeerCommandHeader header(PeerCommand command, int connection = -1, std::uint64_t number = 0, std::uint8_t mode = 0) {
  return PeerCommandHeader{command, mode, connection, number};
}

}  // namespace

RecordBytes record(std::uint8_t type, std::uint8_t status, const std::string &db, const std::string &table,
                   std::uint8_t action, std::uint64_t rowId) {
  RecordBytes bytes{};
  bytes[0] = type;
  bytes[1] = status;
  putName(bytes, kDbOffset, db);
  putName(bytes, kTableOffset, table);
  bytes[kActionOffset] = action;
  for (std::size_t i = 0; i < sizeof rowId; ++i) {
    bytes[kRowIdOffset + i] = static_cast<unsigned char>(rowId >> (8 * i));
  }
  return bytes;
}

RecordBytes changeRecord(const std::string &db, const std::string &table, std::uint8_t action, std::uint64_t rowId) {
  return record(MSG_CHANGE, 0, db, table, action, rowId);
}

RecordBytes cancelRecord(const std::string &db, const std::string &table, std::uint8_t action) {
  return record(MSG_CANCEL, 0, db, table, action, 0);
}

RecordBytes registerRecord(const std::string &db, const std::string &table, std::uint8_t action, std::uint8_t flag) {
  return record(MSG_REGISTER, 0, db, table, action, flag);
}

RecordBytes acceptance(const RecordBytes &registration) {
  RecordBytes reply = registration;
  reply[1] = 1;
  return reply;
}

Bytes concatenated(const std::vector<RecordBytes> &records) {
  Bytes bytes;
  for (const RecordBytes &one : records)
    bytes.insert(bytes.end(), one.begin(), one.end());
  return bytes;
}

_ORV_DB_MESSAGE PeerRecord::message() const {
  _ORV_DB_MESSAGE message;
  std::memcpy(&message, bytes.data(), sizeof message);
  return message;
}

bool operator==(const PeerRecord &left, const PeerRecord &right) {
  return left.connection == right.connection && left.bytes == right.bytes;
}

std::ostream &operator<<(std::ostream &out, const PeerRecord &record) {
  out << "connection " << record.connection << ':' << std::hex << std::setfill('0');
  for (const unsigned char byte : record.bytes)
    out << ' ' << std::setw(2) << static_cast<unsigned>(byte);
  return out << std::dec << std::setfill(' ');
}

NotificationPeer::NotificationPeer() {
  int ends[2];
  if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) != 0) fail("socketpair");
  control_ = UniqueFd(ends[0]);
  start(UniqueFd(ends[1]));
  restart();
}

// Spawned, not forked: fork handlers of the library under test are no business of the peer's.
void NotificationPeer::start(UniqueFd control) {
  posix_spawn_file_actions_t actions;
  posix_spawnattr_t attributes;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, control.get(), kPeerControlDescriptor);
  posix_spawnattr_init(&attributes);
  sigset_t none;
  sigemptyset(&none);
  posix_spawnattr_setsigmask(&attributes, &none);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK);
  std::string program = ORVDB_NOTIFICATION_PEER;
  char *arguments[] = {program.data(), nullptr};
  errno = posix_spawn(&pid_, program.c_str(), &actions, &attributes, arguments, environ);
  posix_spawnattr_destroy(&attributes);
  posix_spawn_file_actions_destroy(&actions);
  if (errno != 0) fail("start " + program);
}

// Children of the test may still hold copies of the socket: it is shut down, not just closed.
NotificationPeer::~NotificationPeer() {
  shutdown(control_.get(), SHUT_RDWR);
  int status = 0;
  const bool ended = waitUntil([&] { return waitpid(pid_, &status, WNOHANG) == pid_; });
  if (!ended) {
    kill(pid_, SIGKILL);
    waitpid(pid_, &status, 0);
  }
  EXPECT_EQ(status, 0) << "the notification peer went wrong";
}

std::vector<PeerRecord> NotificationPeer::waitForRecords(std::size_t count, std::chrono::milliseconds patience) {
  readEventsUntil([&] { return records_.size() >= count; }, patience, std::to_string(count) + " records");
  const auto end = records_.begin() + static_cast<std::ptrdiff_t>(count);
  std::vector<PeerRecord> taken(records_.begin(), end);
  records_.erase(records_.begin(), end);
  return taken;
}

std::vector<PeerRecord> NotificationPeer::remainingRecords() {
  synchronise();
  return waitForRecords(records_.size());
}

pid_t NotificationPeer::waitForConnection(int connection, std::chrono::milliseconds patience) {
  const auto index = static_cast<std::size_t>(connection);
  readEventsUntil([&] { return connections_.size() > index; }, patience, "connection " + std::to_string(connection));
  return connections_[index];
}

int NotificationPeer::connectionCount() {
  synchronise();
  return static_cast<int>(connections_.size());
}

Bytes NotificationPeer::waitForClose(int connection, std::chrono::milliseconds patience) {
  readEventsUntil([&] { return closed_.count(connection) == 1; }, patience,
                  "the end of connection " + std::to_string(connection));
  return closed_[connection];
}

bool NotificationPeer::isClosed(int connection) {
  synchronise();
  return closed_.count(connection) == 1;
}

void NotificationPeer::answerRegistrations(Answer answer, std::chrono::milliseconds delay, const Bytes &followedBy) {
  command(header(PeerCommand::answer, -1, static_cast<std::uint64_t>(delay.count()), static_cast<std::uint8_t>(answer)),
          followedBy);
}

void NotificationPeer::sendChange(int connection, const std::string &db, const std::string &table, std::uint8_t action,
                                  std::uint64_t rowId) {
  sendRecord(connection, changeRecord(db, table, action, rowId));
}

void NotificationPeer::sendRecord(int connection, const RecordBytes &record) {
  sendBytes(connection, Bytes(record.begin(), record.end()));
}

void NotificationPeer::sendBytes(int connection, const Bytes &bytes) {
  command(header(PeerCommand::send, connection), bytes);
}

void NotificationPeer::sendInPieces(int connection, std::size_t pieceLength, const Bytes &bytes) {
  command(header(PeerCommand::sendInPieces, connection, pieceLength), bytes);
}

void NotificationPeer::stopReading(int connection, std::uint64_t bytes) {
  command(header(PeerCommand::limitReading, connection, bytes, static_cast<std::uint8_t>(PeerLimit::thenStopReading)));
}

void NotificationPeer::resumeReading(int connection) {
  command(header(PeerCommand::limitReading, connection, 0, static_cast<std::uint8_t>(PeerLimit::none)));
}

void NotificationPeer::closeConnection(int connection) { command(header(PeerCommand::close, connection)); }

void NotificationPeer::closeAfter(int connection, std::uint64_t bytes) {
  command(header(PeerCommand::limitReading, connection, bytes, static_cast<std::uint8_t>(PeerLimit::thenClose)));
}

void NotificationPeer::stop() {
  stopListening();
  synchronise();
  for (int connection = 0; connection < static_cast<int>(connections_.size()); ++connection) {
    closeConnection(connection);
  }
}

void NotificationPeer::restart() { command(header(PeerCommand::listen)); }

void NotificationPeer::stopListening() { command(header(PeerCommand::stopListening)); }

void NotificationPeer::synchronise() { command(header(PeerCommand::synchronise)); }

void NotificationPeer::command(const PeerCommandHeader &header, const Bytes &bytes) {
  PeerCommandHeader start = header;
  iovec parts[] = {{&start, sizeof start}, {const_cast<unsigned char *>(bytes.data()), bytes.size()}};
  msghdr packet{};
  packet.msg_iov = parts;
  packet.msg_iovlen = 2;
  if (sendmsg(control_.get(), &packet, MSG_NOSIGNAL) < 0) fail("the notification peer takes no command");
  const std::size_t awaited = commandsDone_ + 1;
  readEventsUntil([&] { return commandsDone_ == awaited; }, kPatience, "an answer to a command");
  if (!failure_.empty()) throw std::runtime_error("notification peer: " + failure_);
}

template <typename Condition>
void NotificationPeer::readEventsUntil(Condition condition, std::chrono::milliseconds patience,
                                       const std::string &what) {
  const auto deadline = std::chrono::steady_clock::now() + patience;
  while (!condition()) {
    pollfd readable{control_.get(), POLLIN, 0};
    const int ready = poll(&readable, 1, remainingMilliseconds(deadline));
    if (ready == 0) throw std::runtime_error("notification peer: no sign in time of " + what);
    if (ready > 0) readEvent();
  }
}

void NotificationPeer::readEvent() {
  PeerEventHeader header{};
  iovec parts[] = {{&header, sizeof header}, {packet_.data(), packet_.size()}};
  const ssize_t length = readv(control_.get(), parts, 2);
  if (length < static_cast<ssize_t>(sizeof header)) throw std::runtime_error("the notification peer is gone");
  Bytes bytes(packet_.begin(), packet_.begin() + (length - static_cast<ssize_t>(sizeof header)));
  switch (header.event) {
    case PeerEvent::done:
      ++commandsDone_;
      failure_.assign(bytes.begin(), bytes.end());
      break;
    case PeerEvent::connected:
      connections_.push_back(static_cast<pid_t>(header.number));
      break;
    case PeerEvent::record: {
      PeerRecord record{header.connection, {}};
      std::copy(bytes.begin(), bytes.end(), record.bytes.begin());
      records_.push_back(record);
      break;
    }
    case PeerEvent::closed:
      closed_[header.connection] = std::move(bytes);
      break;
  }
}

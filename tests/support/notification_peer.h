// A scripted notification server in a process of its own, so that a test that forks cannot deadlock on itself.
//
//   NotificationPeer peer;                       // listens on /tmp/orvdb_server.sock when the constructor returns
//   ASSERT_EQ(orv_db_retry_init(), 0);           // the library connects
//   peer.waitForConnection(0);
//   ASSERT_EQ(orv_db_notify_change("d", "t", ORV_DB_ACTION_INSERT, 7), 0);
//   EXPECT_EQ(peer.waitForRecords(1), (std::vector{PeerRecord{0, changeRecord("d", "t", 1, 7)}}));
//   peer.sendChange(0, "d", "t", 1, 7);          // the library calls the registered callback
//
// Connections are numbered in the order in which they are accepted, from 0 on; the numbers go on after a restart().
// A command has been carried out when its function returns. Waiting functions have a deadline and throw a
// std::runtime_error that says what did not happen. Commands may name a connection that is still to come.
//
// "Nothing arrives": remainingRecords() returns everything that has been written to the peer before the call, without
// waiting, so that an empty list there is proof. In the other direction send a second change after the one that must
// have no effect: records of one connection arrive in order.
//
// One thread at a time uses the object. A forked child neither uses nor destroys it (it ends with _exit).
#pragma once

#include <sys/types.h>

#include <array>
#include <chrono>
#include <cstdint>
#include <deque>
#include <map>
#include <ostream>
#include <string>
#include <vector>

#include "event/message.h"
#include "support/notification_peer_protocol.h"
#include "support/unique_fd.h"
#include "support/wait.h"

using Bytes = std::vector<unsigned char>;
using RecordBytes = std::array<unsigned char, sizeof(_ORV_DB_MESSAGE)>;

// Records built by hand, byte for byte, not with the library's own code. A name of more than 63 characters is cut.
RecordBytes record(std::uint8_t type, std::uint8_t status, const std::string &db, const std::string &table,
                   std::uint8_t action, std::uint64_t rowId);
RecordBytes changeRecord(const std::string &db, const std::string &table, std::uint8_t action, std::uint64_t rowId);
RecordBytes cancelRecord(const std::string &db, const std::string &table, std::uint8_t action);
RecordBytes registerRecord(const std::string &db, const std::string &table, std::uint8_t action, std::uint8_t flag);
// The server's reply that accepts a registration.
RecordBytes acceptance(const RecordBytes &registration);
// For sendBytes: the records one after the other.
Bytes concatenated(const std::vector<RecordBytes> &records);

struct PeerRecord {
  int connection;
  RecordBytes bytes;

  _ORV_DB_MESSAGE message() const;
};
bool operator==(const PeerRecord &left, const PeerRecord &right);
std::ostream &operator<<(std::ostream &out, const PeerRecord &record);

// How the peer answers registrations.
enum class Answer : std::uint8_t {
  accept,    // at once
  refuse,    // at once, with status 0
  inPieces,  // accept, every piece only after the one before has been read
  silence,   // not at all
};

class NotificationPeer {
 public:
  NotificationPeer();
  ~NotificationPeer();
  NotificationPeer(const NotificationPeer &) = delete;
  NotificationPeer &operator=(const NotificationPeer &) = delete;

  pid_t pid() const { return pid_; }

  // --- what has happened ---

  // Takes the next `count` records that no earlier call has taken: those of one connection in the order of arrival,
  // connections among each other in any order.
  std::vector<PeerRecord> waitForRecords(std::size_t count, std::chrono::milliseconds patience = kPatience);
  // Takes all records, up to the last one that was written before this call.
  std::vector<PeerRecord> remainingRecords();
  // Returns the process id of the other side.
  pid_t waitForConnection(int connection, std::chrono::milliseconds patience = kPatience);
  // How many connections have ever been made, up to now.
  int connectionCount();
  // Returns what the other side sent after its last whole record before it closed the connection.
  Bytes waitForClose(int connection, std::chrono::milliseconds patience = kPatience);
  // Whether the other side has closed the connection, up to now.
  bool isClosed(int connection);

  // --- what the peer does ---

  // Registrations from now on; `delay` makes the answer late. `followedBy` is sent in one write with the reply.
  void answerRegistrations(Answer answer, std::chrono::milliseconds delay = std::chrono::milliseconds(0),
                           const Bytes &followedBy = {});
  void sendChange(int connection, const std::string &db, const std::string &table, std::uint8_t action,
                  std::uint64_t rowId);
  void sendRecord(int connection, const RecordBytes &record);
  // In one write. Half a record, and nothing after it, holds the library's message thread in its read.
  void sendBytes(int connection, const Bytes &bytes);
  // Every piece only after the one before has been read.
  void sendInPieces(int connection, std::size_t pieceLength, const Bytes &bytes);

  // Reads `bytes` more bytes of the connection and then none, so that the other side's writes block in the end.
  void stopReading(int connection, std::uint64_t bytes = 0);
  void resumeReading(int connection);
  void closeConnection(int connection);
  // Reads `bytes` more bytes and closes the connection then. A registration among them is still answered, unless
  // answers are off.
  void closeAfter(int connection, std::uint64_t bytes);

  // The server is down: all connections are closed and the socket is gone.
  void stop();
  // The server is there again.
  void restart();
  // Connections stay, but nobody can make a new one.
  void stopListening();

 private:
  void start(UniqueFd control);
  void command(const PeerCommandHeader &header, const Bytes &bytes = {});
  void synchronise();
  template <typename Condition>
  void readEventsUntil(Condition condition, std::chrono::milliseconds patience, const std::string &what);
  void readEvent();

  UniqueFd control_;
  // Kept, since filling that much anew for every event takes longer than all the rest.
  Bytes packet_ = Bytes(kPeerPacketSize);
  pid_t pid_ = -1;
  std::size_t commandsDone_ = 0;
  std::string failure_;
  std::deque<PeerRecord> records_;
  std::vector<pid_t> connections_;
  std::map<int, Bytes> closed_;
};

#include "support/notification_peer.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>

#include <chrono>
#include <filesystem>
#include <iostream>
#include <thread>

#include "peer_client.h"
#include "support/child_program.h"
#include "support/process.h"

namespace {

using namespace std::chrono_literals;

Bytes asBytes(const RecordBytes &record) { return Bytes(record.begin(), record.end()); }

Bytes part(const RecordBytes &record, std::size_t begin, std::size_t end) {
  return Bytes(record.begin() + static_cast<std::ptrdiff_t>(begin), record.begin() + static_cast<std::ptrdiff_t>(end));
}

class NotificationPeerTest : public ::testing::Test {
 protected:
  const RecordBytes registration_ = registerRecord("db", "table", 3, 9);
  NotificationPeer peer_;
};

}  // namespace

TEST(NotificationPeerRecord, IsLaidOutByteForByte) {
  const RecordBytes bytes = changeRecord("db", "table", 7, 0x0102030405060708);
  RecordBytes expected{};
  expected[0] = 2;
  expected[4] = 'd';
  expected[5] = 'b';
  const std::string table = "table";
  std::copy(table.begin(), table.end(), expected.begin() + 68);
  expected[132] = 7;
  for (std::size_t i = 0; i < 8; ++i)
    expected[133 + i] = static_cast<unsigned char>(8 - i);
  EXPECT_EQ(bytes, expected);
}

TEST(NotificationPeerRecord, HasItsFlagAndStatusInPlace) {
  const RecordBytes registration = registerRecord("d", "t", 3, 9);
  EXPECT_EQ(registration[0], 0);
  EXPECT_EQ(registration[1], 0);
  EXPECT_EQ(registration[132], 3);
  EXPECT_EQ(registration[133], 9);
  RecordBytes accepted = registration;
  accepted[1] = 1;
  EXPECT_EQ(acceptance(registration), accepted);
  EXPECT_EQ(cancelRecord("d", "t", 3)[0], 1);
}

TEST(NotificationPeerRecord, CutsLongNamesTo63Characters) {
  const RecordBytes bytes = changeRecord(std::string(64, 'a'), std::string(200, 'b'), 1, 0);
  EXPECT_EQ(bytes[66], 'a');
  EXPECT_EQ(bytes[67], 0);
  EXPECT_EQ(bytes[130], 'b');
  EXPECT_EQ(bytes[131], 0);
}

TEST_F(NotificationPeerTest, RecordsEveryByteOfEveryConnection) {
  PeerClient first;
  PeerClient second;
  const RecordBytes a = randomRecord();
  const RecordBytes b = randomRecord();
  const RecordBytes c = randomRecord();
  second.write(a);
  EXPECT_EQ(peer_.waitForRecords(1), (std::vector{PeerRecord{1, a}}));
  first.write(concatenated({b, c}));
  EXPECT_EQ(peer_.waitForRecords(2), (std::vector{PeerRecord{0, b}, PeerRecord{0, c}}));
}

TEST_F(NotificationPeerTest, PutsARecordTogetherFromItsPieces) {
  PeerClient client;
  const RecordBytes bytes = randomRecord();
  client.write(part(bytes, 0, 1));
  EXPECT_TRUE(peer_.remainingRecords().empty());
  client.write(part(bytes, 1, 140));
  EXPECT_TRUE(peer_.remainingRecords().empty());
  client.write(part(bytes, 140, 141));
  EXPECT_EQ(peer_.remainingRecords(), (std::vector{PeerRecord{0, bytes}}));
}

TEST_F(NotificationPeerTest, RemainingRecordsAreAllThatWereWritten) {
  PeerClient client;
  std::vector<PeerRecord> written;
  for (int i = 0; i < 5000; ++i) {
    written.push_back({0, changeRecord("db", "table", 1, static_cast<std::uint64_t>(i))});
    client.write(written.back().bytes);
  }
  EXPECT_EQ(peer_.remainingRecords(), written);
  EXPECT_TRUE(peer_.remainingRecords().empty());
}

TEST_F(NotificationPeerTest, WaitingHasADeadline) {
  EXPECT_THROW(peer_.waitForRecords(1, 10ms), std::runtime_error);
  EXPECT_THROW(peer_.waitForConnection(0, 10ms), std::runtime_error);
  EXPECT_THROW(peer_.waitForClose(0, 10ms), std::runtime_error);
}

TEST_F(NotificationPeerTest, CountsConnectionsAndTheirEnds) {
  EXPECT_EQ(peer_.connectionCount(), 0);
  PeerClient first;
  PeerClient second;
  EXPECT_EQ(peer_.connectionCount(), 2);
  EXPECT_FALSE(peer_.isClosed(0));
  first.close();
  EXPECT_TRUE(peer_.isClosed(0));
  EXPECT_FALSE(peer_.isClosed(1));
  EXPECT_EQ(peer_.connectionCount(), 2);
}

TEST_F(NotificationPeerTest, ReportsWhatCameAfterTheLastWholeRecord) {
  PeerClient client;
  const RecordBytes bytes = randomRecord();
  client.write(bytes);
  client.write(part(bytes, 0, 70));
  client.close();
  EXPECT_EQ(peer_.waitForClose(0), part(bytes, 0, 70));
  EXPECT_EQ(peer_.remainingRecords(), (std::vector{PeerRecord{0, bytes}}));
}

CHILD_PROGRAM(ConnectsToThePeer) { return PeerClient().connectError(); }

TEST_F(NotificationPeerTest, KnowsTheProcessOfTheOtherSide) {
  PeerClient client;
  EXPECT_EQ(peer_.waitForConnection(0), getpid());
  ChildProgram child(ConnectsToThePeer);
  ASSERT_EQ(child.wait(), exited(0));
  EXPECT_EQ(peer_.waitForConnection(1), child.pid());
}

TEST_F(NotificationPeerTest, AcceptsRegistrationsUnlessToldOtherwise) {
  PeerClient client;
  client.write(registration_);
  EXPECT_EQ(client.read(141), asBytes(acceptance(registration_)));
  EXPECT_EQ(peer_.waitForRecords(1), (std::vector{PeerRecord{0, registration_}}));
}

TEST_F(NotificationPeerTest, AnswersNothingButRegistrations) {
  PeerClient client;
  client.write(changeRecord("db", "table", 1, 1));
  client.write(cancelRecord("db", "table", 1));
  client.write(registration_);
  EXPECT_EQ(client.read(141), asBytes(acceptance(registration_)));
  EXPECT_EQ(peer_.remainingRecords().size(), 3U);
  EXPECT_TRUE(client.hasNothingToRead());
}

TEST_F(NotificationPeerTest, RefusesRegistrations) {
  PeerClient client;
  peer_.answerRegistrations(Answer::refuse);
  client.write(registration_);
  EXPECT_EQ(client.read(141), asBytes(registration_));
}

TEST_F(NotificationPeerTest, StaysSilentAndAnswersAgain) {
  PeerClient client;
  peer_.answerRegistrations(Answer::silence);
  client.write(registration_);
  EXPECT_EQ(peer_.waitForRecords(1).size(), 1U);
  EXPECT_TRUE(client.hasNothingToRead());
  peer_.answerRegistrations(Answer::accept);
  client.write(registration_);
  EXPECT_EQ(client.read(141), asBytes(acceptance(registration_)));
  EXPECT_TRUE(client.hasNothingToRead());
}

TEST_F(NotificationPeerTest, AnswersLate) {
  PeerClient client;
  peer_.answerRegistrations(Answer::accept, 200ms);
  const auto start = std::chrono::steady_clock::now();
  client.write(registration_);
  EXPECT_EQ(client.read(141), asBytes(acceptance(registration_)));
  EXPECT_GE(std::chrono::steady_clock::now() - start, 200ms);
}

TEST_F(NotificationPeerTest, AnswersInPiecesEachAfterTheOneBeforeWasRead) {
  PeerClient client;
  peer_.answerRegistrations(Answer::inPieces);
  client.write(registration_);
  const RecordBytes answer = acceptance(registration_);
  // From here on the peer has sent what it sends without a read.
  EXPECT_EQ(peer_.remainingRecords().size(), 1U);
  EXPECT_EQ(client.readOnce(), part(answer, 0, 50));
  EXPECT_EQ(client.readOnce(), part(answer, 50, 100));
  EXPECT_EQ(client.readOnce(), part(answer, 100, 141));
}

TEST_F(NotificationPeerTest, SendsRecordsTogetherWithAnAnswer) {
  PeerClient client;
  const RecordBytes change = changeRecord("db", "table", 1, 5);
  peer_.answerRegistrations(Answer::accept, 0ms, asBytes(change));
  client.write(registration_);
  EXPECT_EQ(client.readOnce(), concatenated({acceptance(registration_), change}));
}

TEST_F(NotificationPeerTest, SendsToTheConnectionThatIsNamed) {
  PeerClient first;
  PeerClient second;
  ASSERT_EQ(peer_.connectionCount(), 2);
  peer_.sendChange(1, "db", "table", 2, 77);
  EXPECT_EQ(second.readOnce(), asBytes(changeRecord("db", "table", 2, 77)));
  peer_.sendBytes(0, {1, 2, 3});
  EXPECT_EQ(first.readOnce(), (Bytes{1, 2, 3}));
  EXPECT_TRUE(second.hasNothingToRead());
}

TEST_F(NotificationPeerTest, SendsInPieces) {
  PeerClient client;
  peer_.waitForConnection(0);
  peer_.sendInPieces(0, 2, {1, 2, 3, 4, 5});
  EXPECT_EQ(client.readOnce(), (Bytes{1, 2}));
  EXPECT_EQ(client.readOnce(), (Bytes{3, 4}));
  EXPECT_EQ(client.readOnce(), (Bytes{5}));
}

TEST_F(NotificationPeerTest, SendingToNobodyIsAFailure) {
  EXPECT_THROW(peer_.sendBytes(0, {1}), std::runtime_error);
  PeerClient client;
  peer_.waitForConnection(0);
  EXPECT_NO_THROW(peer_.sendBytes(0, {1}));
  peer_.closeConnection(0);
  EXPECT_THROW(peer_.sendBytes(0, {1}), std::runtime_error);
}

TEST_F(NotificationPeerTest, StopsReadingUntilToldOtherwise) {
  PeerClient client;
  const RecordBytes first = randomRecord();
  const RecordBytes second = randomRecord();
  peer_.stopReading(0, 141 + 50);
  client.write(concatenated({first, second}));
  EXPECT_EQ(peer_.remainingRecords(), (std::vector{PeerRecord{0, first}}));
  const std::size_t length = client.writeUntilFull();
  EXPECT_GT(length, 0U);
  EXPECT_EQ(client.writeUntilFull(), 0U);
  EXPECT_TRUE(peer_.remainingRecords().empty());
  peer_.resumeReading(0);
  EXPECT_EQ(peer_.waitForRecords(1), (std::vector{PeerRecord{0, second}}));
  EXPECT_EQ(peer_.remainingRecords().size(), length / 141);
}

TEST_F(NotificationPeerTest, ClosesAConnection) {
  PeerClient first;
  PeerClient second;
  peer_.waitForConnection(1);
  peer_.closeConnection(0);
  EXPECT_EQ(first.readOnce(), Bytes());
  EXPECT_TRUE(second.hasNothingToRead());
}

TEST_F(NotificationPeerTest, ClosesAfterANumberOfBytes) {
  PeerClient client;
  peer_.closeAfter(0, 141 + 50);
  const RecordBytes bytes = randomRecord();
  client.write(bytes);
  client.write(part(bytes, 0, 49));
  EXPECT_EQ(peer_.remainingRecords().size(), 1U);
  EXPECT_TRUE(client.hasNothingToRead());
  client.write(part(bytes, 49, 50));
  EXPECT_EQ(client.readOnce(), Bytes());
}

TEST_F(NotificationPeerTest, ClosesANewConnectionAtOnce) {
  peer_.closeAfter(0, 0);
  PeerClient client;
  EXPECT_EQ(client.connectError(), 0);
  EXPECT_EQ(client.readOnce(), Bytes());
}

TEST_F(NotificationPeerTest, StoppedServerHasNoConnectionsAndNoSocket) {
  PeerClient client;
  peer_.stop();
  EXPECT_EQ(client.readOnce(), Bytes());
  EXPECT_FALSE(std::filesystem::exists(kServerSocketPath));
  EXPECT_EQ(PeerClient().connectError(), ENOENT);
  peer_.restart();
  EXPECT_EQ(PeerClient().connectError(), 0);
  EXPECT_EQ(peer_.connectionCount(), 2);
}

TEST_F(NotificationPeerTest, StopsListeningAndKeepsItsConnections) {
  PeerClient client;
  peer_.waitForConnection(0);
  peer_.stopListening();
  EXPECT_EQ(PeerClient().connectError(), ENOENT);
  client.write(registration_);
  EXPECT_EQ(client.read(141), asBytes(acceptance(registration_)));
}

TEST_F(NotificationPeerTest, NeverTakesThePlaceOfAnotherServer) {
  EXPECT_THROW(NotificationPeer(), std::runtime_error);
  EXPECT_EQ(PeerClient().connectError(), 0);
  EXPECT_EQ(peer_.connectionCount(), 1);
}

TEST(NotificationPeerProcess, EndsThoughAForkedChildHoldsItsSocket) {
  pid_t peersPid = 0;
  pid_t child = 0;
  {
    NotificationPeer peer;
    peersPid = peer.pid();
    child = fork();
    if (child == 0) {
      pause();
      _exit(0);
    }
    EXPECT_TRUE(isRunning(peersPid));
  }
  EXPECT_FALSE(isRunning(peersPid));
  kill(child, SIGKILL);
  waitpid(child, nullptr, 0);
}

CHILD_PROGRAM(HasAPeerUntilItIsKilled) {
  NotificationPeer peer;
  std::cout << peer.pid() << " is the peer" << std::endl;
  pause();
  return 0;
}

TEST(NotificationPeerProcess, EndsWithATestThatIsKilled) {
  ChildProgram child(HasAPeerUntilItIsKilled);
  child.waitForOutput("is the peer");
  const pid_t peer = std::stoi(child.output());
  EXPECT_TRUE(isRunning(peer));
  child.kill(SIGKILL);
  EXPECT_EQ(child.wait(), killedBy(SIGKILL));
  EXPECT_TRUE(waitUntil([&] { return !isRunning(peer); }));
}

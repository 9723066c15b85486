// The server sends part of a record and nothing more for a while.
#include "fault/peer/peer_fault.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class PeerStall : public PeerFault {
 protected:
  // Returns when the message thread waits for the rest: it has the socket in use then.
  void sendFirst(const RecordBytes &record, std::size_t count) {
    peer.sendBytes(connection(), firstBytes(record, count));
    EXPECT_TRUE(waitUntil([] { return EventMgr::sockLockIsHeld(); }));
  }
};

TEST_F(PeerStall, AfterAnyByteOfAChangeLeavesAnnouncingAndCancellingAloneAndTheRestDeliversIt) {
  for (std::size_t count = 1; count < kRecordSize; ++count) {
    SCOPED_TRACE(count);
    ASSERT_EQ(registerItems(ORV_DB_ACTION_ALL, f), 0);
    ASSERT_EQ(orv_db_register_callback(kDb, "other", ORV_DB_ACTION_ALL, nullptr, 0, g), 0);
    recordsSent();
    const RecordBytes change = itemsChange(ORV_DB_ACTION_INSERT, count);
    sendFirst(change, count);
    EXPECT_EQ(notifyItems(count), 0);
    EXPECT_EQ(orv_db_cancel_callback(kDb, "other", ORV_DB_ACTION_ALL), 0);
    ASSERT_THAT(recordsSent(), ElementsAre(itemsChange(1, count), cancelRecord(kDb, "other", ORV_DB_ACTION_ALL)));
    peer.sendBytes(connection(), bytesBehind(change, count));
    ASSERT_THAT(callsBy({}), ElementsAre(Call{'f', kDb, kTable, ORV_DB_ACTION_INSERT, count}));
    ASSERT_EQ(cancelItems(ORV_DB_ACTION_ALL), 0);
    recordsSent();
  }
  expectAtWork();
}

// Its reply stands behind the record that does not end.
TEST_F(PeerStall, InTheMiddleOfAChangeGivesARegistration7) {
  peer.answerRegistrations(Answer::silence);
  playWhileRegistrationWaits([] {});
  const RecordBytes change = itemsChange(ORV_DB_ACTION_INSERT, 1);
  sendFirst(change, 70);
  EXPECT_EQ(registerItems(ORV_DB_ACTION_ALL, f), 7);
  standIns.timedWait.end();
  peer.answerRegistrations(Answer::accept);
  recordsSent();
  peer.sendBytes(connection(), bytesBehind(change, 70));
  EXPECT_THAT(callsBy({}), IsEmpty());
  expectAtWork();
}

TEST_F(PeerStall, AfterAnyByteOfAnAcknowledgementGives7AndTheRestComesTooLate) {
  for (std::size_t count = 0; count < kRecordSize; ++count) {
    SCOPED_TRACE(count);
    peer.answerRegistrations(Answer::silence);
    RecordBytes reply{};
    playWhileRegistrationWaits([&] {
      reply = acceptance(peer.waitForRecords(1).at(0).bytes);
      if (count > 0) sendFirst(reply, count);
    });
    ASSERT_EQ(registerItems(ORV_DB_ACTION_ALL, f), 7);
    standIns.timedWait.end();
    peer.answerRegistrations(Answer::accept);
    peer.sendBytes(connection(), bytesBehind(reply, count));
    ASSERT_THAT(callsBy({itemsChange(ORV_DB_ACTION_INSERT, count)}), IsEmpty());
    EXPECT_EQ(EventMgr::registeredActions(kDb, kTable), 0);
    expectAtWork();
  }
}

// The end of the stall is the end of the connection.
TEST_F(PeerStall, ThatEndsWithTheConnectionGivesAWaitingRegistration12) {
  peer.answerRegistrations(Answer::silence);
  playWhileRegistrationWaits([this] {
    sendFirst(acceptance(peer.waitForRecords(1).at(0).bytes), 140);
    peer.closeConnection(connection());
    EXPECT_TRUE(waitUntil([] { return EventMgr::acknowledgement() == EventMgr::kLost; }));
  });
  EXPECT_EQ(registerItems(ORV_DB_ACTION_ALL, f), 12);
  standIns.timedWait.end();
  peer.answerRegistrations(Answer::accept);
  EXPECT_THAT(cut(), IsEmpty());
  expectAtWork();
}

}  // namespace

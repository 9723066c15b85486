// The server cuts the connection after any byte of what it sends.
#include <future>

#include "fault/peer/peer_fault.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class PeerCut : public PeerFault {
 protected:
  static Call changeOf(unsigned long long rowId) { return {'f', kDb, kTable, ORV_DB_ACTION_UPDATE, rowId}; }
};

// A registration whose reply did not come whole is none: neither the registry nor the next connection knows of it.
TEST_F(PeerCut, AfterAnyByteOfAnAcknowledgementGives12UnlessItCameWhole) {
  for (std::size_t count = 0; count <= kRecordSize; ++count) {
    SCOPED_TRACE(count);
    const bool whole = count == kRecordSize;
    peer.answerRegistrations(Answer::silence);
    std::future<int> status = std::async(std::launch::async, [] { return registerItems(ORV_DB_ACTION_UPDATE, f); });
    const PeerRecord registration = peer.waitForRecords(1).at(0);
    peer.sendBytes(connection(), firstBytes(acceptance(registration.bytes), count));
    peer.answerRegistrations(Answer::accept);
    EXPECT_THAT(cut(), IsEmpty());
    ASSERT_EQ(status.get(), whole ? 0 : 12);
    EXPECT_EQ(EventMgr::registeredActions(kDb, kTable), whole ? ORV_DB_ACTION_UPDATE : 0);
    expectAtWork();
  }
  EXPECT_THAT(callsBy({itemsChange(ORV_DB_ACTION_UPDATE, 5)}), ElementsAre(changeOf(5)));
}

TEST_F(PeerCut, AfterAnyByteOfAChangeCallsNothingForWhatDidNotComeWhole) {
  ASSERT_EQ(registerItems(ORV_DB_ACTION_UPDATE, f), 0);
  recordsSent();
  for (std::size_t count = 0; count <= kRecordSize; ++count) {
    SCOPED_TRACE(count);
    peer.sendBytes(connection(), firstBytes(itemsChange(ORV_DB_ACTION_UPDATE, count), count));
    const std::vector<Call> calls = cut();
    if (count < kRecordSize) {
      ASSERT_THAT(calls, IsEmpty());
    } else {
      ASSERT_THAT(calls, ElementsAre(changeOf(count)));
    }
    ASSERT_THAT(callsBy({itemsChange(ORV_DB_ACTION_UPDATE, 1000 + count)}), ElementsAre(changeOf(1000 + count)));
  }
  expectAtWork();
}

// What has come whole before it in the same piece counts.
TEST_F(PeerCut, AfterAnyByteBehindAWholeChangeCallsForThatOne) {
  ASSERT_EQ(registerItems(ORV_DB_ACTION_UPDATE, f), 0);
  recordsSent();
  for (std::size_t count = 0; count < kRecordSize; ++count) {
    SCOPED_TRACE(count);
    Bytes bytes = concatenated({itemsChange(ORV_DB_ACTION_UPDATE, count)});
    const Bytes torn = firstBytes(itemsChange(ORV_DB_ACTION_UPDATE, 1000), count);
    bytes.insert(bytes.end(), torn.begin(), torn.end());
    peer.sendBytes(connection(), bytes);
    ASSERT_THAT(cut(), ElementsAre(changeOf(count)));
  }
  expectAtWork();
}

}  // namespace

// Partial sends: the socket takes a few thousand bytes at a time, which are no whole number of records.
#include "forwarding/outbox.h"

#include <algorithm>
#include <random>

#include "forwarding/connection.h"
#include "forwarding/routes.h"
#include "server/parts/connected_pair.h"

namespace {

using Progress = Outbox::Progress;

class OutboxTest : public testing::Test {
 protected:
  OutboxTest() {
    const int least = 1;  // the system makes more of it
    EXPECT_EQ(setsockopt(pair_.server.get(), SOL_SOCKET, SO_SNDBUF, &least, sizeof least), 0);
  }

  Outbox &outbox() { return reader_.outbox(); }
  Progress flush() { return outbox().flush(pair_.server.get()); }

  static RecordBytes change(std::uint64_t id) { return changeRecord("shop", "articles", 1, id); }
  static RecordBytes whole(const std::string &table, std::uint8_t action) {
    return changeRecord("shop", table, action, 0);
  }
  static RecordBytes reply(const std::string &table) { return acceptance(registerRecord("shop", table, 7, 0)); }

  void append(std::uint64_t firstId, std::uint64_t lastId) {
    for (std::uint64_t id = firstId; id <= lastId; ++id)
      outbox().append(messageOf(change(id)));
  }

  Interest &interestIn(const std::string &table) {
    return routes_.add(reader_, RecordKey(messageOf(whole(table, 7))).text(), 0xff);
  }

  // Flushes until the socket takes no more; returns how many changes are gone, one in part.
  std::size_t fillWithChanges() {
    append(1, 100);
    EXPECT_EQ(flush(), Progress::kBlocked);
    taken_ = pair_.take();
    EXPECT_NE(taken_.size() % sizeof(RecordBytes), 0U) << "no record was partly sent";
    return taken_.size() / sizeof(RecordBytes) + 1;
  }

  // What the other end gets until nothing is left, with what it has got already.
  std::vector<RecordBytes> takeAll() {
    for (bool isLast = false; !isLast;) {
      isLast = flush() == Progress::kDone;
      const Bytes bytes = pair_.take();
      taken_.insert(taken_.end(), bytes.begin(), bytes.end());
    }
    EXPECT_TRUE(outbox().isEmpty());
    EXPECT_EQ(taken_.size() % sizeof(RecordBytes), 0U);
    std::vector<RecordBytes> records(taken_.size() / sizeof(RecordBytes));
    for (std::size_t i = 0; i < records.size(); ++i)
      std::copy_n(taken_.data() + i * sizeof(RecordBytes), sizeof(RecordBytes), records[i].data());
    return records;
  }

  static std::vector<RecordBytes> changes(std::uint64_t firstId, std::uint64_t lastId) {
    std::vector<RecordBytes> records;
    for (std::uint64_t id = firstId; id <= lastId; ++id)
      records.push_back(change(id));
    return records;
  }

  ConnectedPair pair_;
  Routes routes_{{1, 2}};
  Connection reader_{7, Descriptor(), Peer()};
  Bytes taken_;
};

std::vector<RecordBytes> joined(std::vector<RecordBytes> records, const std::vector<RecordBytes> &more) {
  records.insert(records.end(), more.begin(), more.end());
  return records;
}

TEST_F(OutboxTest, ChangesComeWholeAndInOrderHoweverTheyAreSent) {
  append(1, 500);
  EXPECT_EQ(takeAll(), changes(1, 500));
}

TEST_F(OutboxTest, ReplyGoesAheadOfChangesButNotIntoTheMiddleOfOne) {
  const std::size_t gone = fillWithChanges();
  outbox().acknowledge(messageOf(reply("orders")));
  EXPECT_EQ(outbox().ackCount(), 1U);
  EXPECT_EQ(takeAll(), joined(joined(changes(1, gone), {reply("orders")}), changes(gone + 1, 100)));
}

TEST_F(OutboxTest, CollapseKeepsTheRestOfARecordThatIsPartlySent) {
  const std::size_t gone = fillWithChanges();
  EXPECT_EQ(outbox().collapse().size(), 100 - gone);
  outbox().tell(interestIn("articles"), 5);
  EXPECT_EQ(takeAll(), joined(changes(1, gone), {whole("articles", 1), whole("articles", 4)}));
}

TEST_F(OutboxTest, WholeTablesComeOnceInTheOrderOfTheirFirstActionAfterReplies) {
  outbox().tell(interestIn("b"), 1);
  outbox().tell(interestIn("a"), 0x82);
  outbox().tell(interestIn("b"), 4);
  outbox().tell(interestIn("b"), 1);
  outbox().tell(interestIn("c"), 0);
  outbox().acknowledge(messageOf(reply("orders")));
  EXPECT_EQ(takeAll(), (std::vector{reply("orders"), whole("b", 1), whole("b", 4), whole("a", 2), whole("a", 0x80)}));
}

TEST_F(OutboxTest, IsCollapsedUntilAllWholeTablesAreHandedOver) {
  outbox().collapse();
  for (int i = 0; i < 200; ++i)
    outbox().tell(interestIn("table " + std::to_string(i)), 1);
  EXPECT_EQ(flush(), Progress::kBlocked);
  EXPECT_TRUE(outbox().isCollapsed());
  EXPECT_EQ(takeAll().size(), 200U);
  EXPECT_FALSE(outbox().isCollapsed());
}

TEST_F(OutboxTest, InterestThatGoesAwayIsNotTold) {
  outbox().tell(interestIn("a"), 1);
  outbox().tell(interestIn("b"), 1);
  outbox().tell(interestIn("c"), 1);
  routes_.remove(interestIn("b"));
  EXPECT_EQ(takeAll(), (std::vector{whole("a", 1), whole("c", 1)}));
}

TEST_F(OutboxTest, LeavesTheTurnToOthersAfterAFewWrites) {
  const int much = 1 << 20;
  EXPECT_EQ(setsockopt(pair_.server.get(), SOL_SOCKET, SO_SNDBUF, &much, sizeof much), 0);
  for (int i = 0; i < 600; ++i)
    outbox().tell(interestIn("table " + std::to_string(i)), 1);
  EXPECT_EQ(flush(), Progress::kMore);
  EXPECT_EQ(takeAll().size(), 600U);
}

TEST_F(OutboxTest, SocketWhoseOtherEndIsClosedTakesEverything) {
  append(1, 500);
  outbox().acknowledge(messageOf(reply("orders")));
  outbox().tell(interestIn("articles"), 7);
  pair_.client.reset();
  EXPECT_EQ(flush(), Progress::kDone);
  EXPECT_TRUE(outbox().isEmpty());
  EXPECT_EQ(interestIn("articles").untold, 0);
}

TEST_F(OutboxTest, EmptyOneIsDone) {
  EXPECT_EQ(flush(), Progress::kDone);
  EXPECT_TRUE(pair_.take().empty());
}

// Whatever happens between two writes, the stream stays in step and each kind of record keeps its order.
TEST_F(OutboxTest, StreamStaysInStepUnderRandomUse) {
  std::mt19937 random(3);
  std::uint64_t lastId = 0;
  std::uint64_t lastReply = 0;
  for (int i = 0; i < 20'000; ++i) {
    switch (random() % 6) {
      case 0:
        outbox().acknowledge(messageOf(reply(std::to_string(++lastReply))));
        break;
      case 1:
        if (outbox().collapse().empty()) break;
        outbox().tell(interestIn("articles"), 1);
        break;
      case 2:
        flush();
        break;
      case 3: {
        const Bytes bytes = pair_.take(random() % 1000);
        taken_.insert(taken_.end(), bytes.begin(), bytes.end());
        break;
      }
      default:
        append(lastId + 1, lastId + 3);
        lastId += 3;
    }
  }
  std::uint64_t repliesSeen = 0;
  std::uint64_t idSeen = 0;
  for (const RecordBytes &record : takeAll()) {
    if (record == reply(std::to_string(repliesSeen + 1))) {
      ++repliesSeen;
    } else if (record != whole("articles", 1)) {
      const std::uint64_t id = messageOf(record).rowId;
      ASSERT_EQ(record, change(id));
      ASSERT_GT(id, idSeen);
      idSeen = id;
    }
  }
  EXPECT_EQ(repliesSeen, lastReply);
  EXPECT_GT(idSeen, 0U);
}

}  // namespace

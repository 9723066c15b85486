// The server sends much faster than callbacks take.
#include <atomic>

#include "fault/peer/peer_fault.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr std::size_t kFlood = 20'000;
constexpr std::size_t kRecordsPerPiece = 400;

// Held up at its first call until the test lets it go.
class SlowReader {
 public:
  static void call(const char *, const char *, _orv_db_action_t, unsigned long long rowId, void *self) {
    static_cast<SlowReader *>(self)->take(rowId);
  }
  void waitUntilHeldUp() const {
    EXPECT_TRUE(waitUntil([this] { return heldUp_.load(); }));
  }
  void goOn() { mayGoOn_ = true; }

  // How many came, each with the row id that follows the one before.
  std::size_t inOrder() const { return inOrder_; }
  std::size_t all() const { return all_; }

 private:
  void take(unsigned long long rowId) {
    heldUp_ = true;
    waitUntil([this] { return mayGoOn_.load(); });
    if (rowId == inOrder_) ++inOrder_;
    ++all_;
  }

  std::atomic<bool> heldUp_{false};
  std::atomic<bool> mayGoOn_{false};
  std::atomic<std::size_t> inOrder_{0};
  std::atomic<std::size_t> all_{0};
};

class PeerFlood : public PeerFault {
 protected:
  template <class RecordOf>
  void flood(RecordOf recordOf) {
    for (std::size_t next = 0; next < kFlood; next += kRecordsPerPiece) {
      std::vector<RecordBytes> records;
      for (std::size_t i = next; i < next + kRecordsPerPiece; ++i)
        records.push_back(recordOf(i));
      peer.sendBytes(connection(), concatenated(records));
    }
  }
};

// More than fits into the socket is on its way while the callback is held up.
TEST_F(PeerFlood, ReachesASlowCallbackWholeAndInOrder) {
  SlowReader reader;
  ASSERT_EQ(registerItems(ORV_DB_ACTION_ALL, SlowReader::call, &reader), 0);
  recordsSent();
  flood([](std::size_t number) { return itemsChange(ORV_DB_ACTION_UPDATE, number); });
  reader.waitUntilHeldUp();

  // Meanwhile whatever needs no reply works.
  EXPECT_EQ(notifyItems(3), 0);
  EXPECT_THAT(recordsSent(), ElementsAre(itemsChange(1, 3)));
  EXPECT_EQ(reader.all(), 0U);

  reader.goOn();
  EXPECT_THAT(callsBy({}), IsEmpty());
  EXPECT_EQ(reader.all(), kFlood);
  EXPECT_EQ(reader.inOrder(), kFlood);
  expectAtWork();
}

// The reply stands behind the flood. It comes too late, and does no harm.
TEST_F(PeerFlood, GivesARegistration7WhenItsReplyIsTooFarBehind) {
  SlowReader reader;
  ASSERT_EQ(registerItems(ORV_DB_ACTION_ALL, SlowReader::call, &reader), 0);
  recordsSent();
  flood([](std::size_t number) { return itemsChange(ORV_DB_ACTION_UPDATE, number); });
  reader.waitUntilHeldUp();
  playWhileRegistrationWaits([] {});
  EXPECT_EQ(orv_db_register_callback(kDb, "other", ORV_DB_ACTION_ALL, nullptr, 0, g), 7);
  standIns.timedWait.end();
  recordsSent();

  reader.goOn();
  EXPECT_THAT(callsBy({changeRecord(kDb, "other", 1, 1)}), IsEmpty());
  EXPECT_EQ(reader.inOrder(), kFlood);
  expectAtWork();
}

// One call was on its way.
TEST_F(PeerFlood, EndsWithACancellation) {
  SlowReader reader;
  ASSERT_EQ(registerItems(ORV_DB_ACTION_ALL, SlowReader::call, &reader), 0);
  flood([](std::size_t number) { return itemsChange(ORV_DB_ACTION_UPDATE, number); });
  reader.waitUntilHeldUp();
  EXPECT_EQ(cancelItems(ORV_DB_ACTION_ALL), 0);
  reader.goOn();
  EXPECT_THAT(callsBy({}), IsEmpty());
  EXPECT_EQ(reader.all(), 1U);
  recordsSent();
  expectAtWork();
}

TEST_F(PeerFlood, OfRepliesThatNobodyWaitsForIsIgnored) {
  const int before = EventMgr::posts();
  flood([](std::size_t) { return acceptance(registerRecord(kDb, kTable, ORV_DB_ACTION_ALL, 0)); });
  EXPECT_THAT(callsBy({itemsChange(1, 1)}), IsEmpty());
  EXPECT_EQ(EventMgr::posts(), before);
  expectAtWork();
}

// What was on its way over the old connection is lost with it, nothing of it comes torn or twice.
TEST_F(PeerFlood, ThatIsCutArrivesInOrderAsFarAsItCame) {
  SlowReader reader;
  ASSERT_EQ(registerItems(ORV_DB_ACTION_ALL, SlowReader::call, &reader), 0);
  flood([](std::size_t number) { return itemsChange(ORV_DB_ACTION_UPDATE, number); });
  reader.waitUntilHeldUp();
  peer.closeConnection(connection());
  reader.goOn();
  EXPECT_THAT(cut(), IsEmpty());
  EXPECT_GT(reader.all(), 1U);
  EXPECT_LT(reader.all(), kFlood);
  EXPECT_EQ(reader.inOrder(), reader.all());
  expectAtWork();
}

}  // namespace

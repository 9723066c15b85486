// A registration waits for the server's reply.
#include <thread>

#include "event_mgr_access.h"
#include "event_support.h"

namespace {

using namespace std::chrono_literals;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class Registration : public NotificationClient {
 protected:
  // Of the table, without the callback that is there from the start.
  static std::size_t entryCount() { return EventMgr::registry().size() - 1; }
};

TEST_F(Registration, Returns0WhenServerAccepts) {
  EXPECT_EQ(registerItems(1, f), 0);
  EXPECT_EQ(entryCount(), 1U);
}

TEST_F(Registration, Returns7WhenServerStaysSilentForTwoSeconds) {
  peer.answerRegistrations(Answer::silence);
  const Stopwatch stopwatch;
  EXPECT_EQ(registerItems(1, f), 7);
  EXPECT_GE(stopwatch.elapsed(), 1990ms);
  EXPECT_EQ(entryCount(), 0U);
  EXPECT_THAT(callsFor({itemsChange(1, 1)}), IsEmpty());
  EXPECT_THAT(recordsSent(), ElementsAre(registerRecord(kDb, kTable, 1, 0)));
}

TEST_F(Registration, Returns7WhenServerRefuses) {
  peer.answerRegistrations(Answer::refuse);
  EXPECT_EQ(registerItems(1, f), 7);
  EXPECT_EQ(entryCount(), 0U);
  peer.answerRegistrations(Answer::accept);
  EXPECT_EQ(registerItems(1, f), 0);
}

// The late reply leaves a post behind, by which the next registration must not be taken in.
TEST_F(Registration, AfterATimeOutWaitsForItsOwnReplyThoughTheLateOneHasArrived) {
  peer.answerRegistrations(Answer::silence);
  ASSERT_EQ(registerItems(1, f), 7);
  ASSERT_THAT(callsFor({acceptance(registerRecord(kDb, kTable, 1, 0)), itemsChange(1, 1)}), IsEmpty());
  ASSERT_GE(EventMgr::posts(), 1);

  peer.answerRegistrations(Answer::accept, 300ms);
  const Stopwatch stopwatch;
  EXPECT_EQ(registerItems(2, g), 0);
  EXPECT_GE(stopwatch.elapsed(), 300ms);
  EXPECT_THAT(callsFor({itemsChange(1, 1), itemsChange(2, 2)}), ElementsAre(Call{'g', kDb, kTable, 2, 2}));
}

TEST_F(Registration, ReplyMayArriveInPieces) {
  peer.answerRegistrations(Answer::inPieces);
  EXPECT_EQ(registerItems(1, f), 0);
  EXPECT_THAT(callsFor({itemsChange(1, 1)}), ElementsAre(Call{'f', kDb, kTable, 1, 1}));
}

TEST_F(Registration, ReplyMayArriveTogetherWithChanges) {
  ASSERT_EQ(registerItems(1, f), 0);
  peer.answerRegistrations(Answer::accept, 0ms, concatenated({itemsChange(1, 1), itemsChange(1, 2)}));
  EXPECT_EQ(registerItems(2, g), 0);
  EXPECT_THAT(callsFor({}), ElementsAre(Call{'f', kDb, kTable, 1, 1}, Call{'f', kDb, kTable, 1, 2}));
}

TEST_F(Registration, Returns12Not7WhenServerDiesMeanwhile) {
  peer.answerRegistrations(Answer::silence);
  peer.closeAfter(0, sizeof(_ORV_DB_MESSAGE));
  EXPECT_EQ(registerItems(1, f), 12);
  EXPECT_EQ(entryCount(), 0U);
}

TEST_F(Registration, ReplyThatNobodyAwaitsIsIgnored) {
  const int before = EventMgr::posts();
  EXPECT_THAT(callsFor({acceptance(registerRecord(kDb, kTable, 1, 0))}), IsEmpty());
  EXPECT_EQ(EventMgr::posts(), before);

  peer.answerRegistrations(Answer::accept, 200ms);
  const Stopwatch stopwatch;
  EXPECT_EQ(registerItems(1, f), 0);
  EXPECT_GE(stopwatch.elapsed(), 200ms);
}

TEST_F(Registration, OnlyOneAtATimeAwaitsItsReply) {
  peer.answerRegistrations(Answer::accept, 100ms);
  std::vector<int> statuses(5, -1);
  std::vector<std::thread> threads;
  const Stopwatch stopwatch;
  for (std::size_t i = 0; i < statuses.size(); ++i) {
    threads.emplace_back([&statuses, i] {
      statuses[i] = orv_db_register_callback(kDb, std::to_string(i).c_str(), ORV_DB_ACTION_INSERT, nullptr, 0, f);
    });
  }
  for (std::thread &thread : threads)
    thread.join();
  EXPECT_GE(stopwatch.elapsed(), 500ms);
  EXPECT_THAT(statuses, Each(0));
  EXPECT_EQ(entryCount(), 5U);
}

TEST_F(Registration, DoesNotHoldUpNotificationsCancellationsAndCallbacks) {
  ASSERT_EQ(registerItems(3, f), 0);
  const mutex_guard asARegistrationThatWaits(EventMgr::regLock());
  EXPECT_EQ(notifyItems(), 0);
  EXPECT_EQ(cancelItems(1), 0);
  EXPECT_THAT(callsFor({itemsChange(2, 1)}), ElementsAre(Call{'f', kDb, kTable, 2, 1}));
}

TEST_F(Registration, ChangesThatCameBeforeItAreMissed) {
  EXPECT_THAT(callsFor({itemsChange(1, 1)}), IsEmpty());
  ASSERT_EQ(registerItems(1, f), 0);
  EXPECT_THAT(callsFor({itemsChange(1, 2)}), ElementsAre(Call{'f', kDb, kTable, 1, 2}));
}

TEST(Acknowledgement, FirstOfReplyAndLossOfConnectionCounts) {
  EventMgr::settle(EventMgr::kWaiting, EventMgr::kReceived);
  EXPECT_EQ(EventMgr::acknowledgement(), EventMgr::kReceived);
  EXPECT_EQ(EventMgr::posts(), 1);
  EventMgr::settle(EventMgr::kReceived, EventMgr::kLost);
  EXPECT_EQ(EventMgr::acknowledgement(), EventMgr::kReceived);
  EXPECT_EQ(EventMgr::posts(), 1);

  EventMgr::settle(EventMgr::kWaiting, EventMgr::kLost);
  EXPECT_EQ(EventMgr::acknowledgement(), EventMgr::kLost);
  EXPECT_EQ(EventMgr::posts(), 2);
  EventMgr::settle(EventMgr::kLost, EventMgr::kReceived);
  EXPECT_EQ(EventMgr::acknowledgement(), EventMgr::kLost);
  EXPECT_EQ(EventMgr::posts(), 2);
}

}  // namespace

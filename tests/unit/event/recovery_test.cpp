// What happens when the notification server goes away and comes back; the pauses are real here, a second at least.
#include <fcntl.h>

#include <atomic>
#include <thread>

#include "event_mgr_access.h"
#include "event_support.h"

namespace {

using namespace std::chrono_literals;
using ::testing::AnyOf;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class Recovery : public NotificationClient {
 protected:
  // The registration of the fixture.
  static RecordBytes lastRegistration() { return registerRecord("last", "last", 7, 0); }

  void stopServer() {
    peer.stop();
    waitUntilRecovering();
    recordsSent();
  }
  // Returns what is sent as soon as there is a connection.
  std::vector<RecordBytes> startServer(int connection, std::size_t records) {
    peer.restart();
    peer.waitForConnection(connection);
    return bytesOf(peer.waitForRecords(records));
  }
};

TEST_F(Recovery, ReconnectsAfterASecondAndReplaysEveryRegistration) {
  ASSERT_EQ(registerItems(3, f, this, 0x5A), 0);
  ASSERT_EQ(orv_db_register_callback(kDb, "orders", ORV_DB_ACTION_DELETE, nullptr, 1, g), 0);
  const Stopwatch stopwatch;
  stopServer();
  EXPECT_THAT(startServer(1, 3), ElementsAre(lastRegistration(), registerRecord(kDb, kTable, 3, 0x5A),
                                             registerRecord(kDb, "orders", 4, 1)));
  EXPECT_GE(stopwatch.elapsed(), 1s);
  EXPECT_THAT(callsFor({itemsChange(2, 1), changeRecord(kDb, "orders", 4, 2)}, 1),
              ElementsAre(Call{'f', kDb, kTable, 2, 1, this}, Call{'g', kDb, "orders", 4, 2}));
  ASSERT_TRUE(waitUntil([] { return notifyItems(7) == 0; }));
  EXPECT_THAT(bytesOf(peer.waitForRecords(1)), ElementsAre(itemsChange(1, 7)));
}

TEST_F(Recovery, ReplaysReducedMasksInKeyOrderAndWithinAKeyInTheOrderOfRegistration) {
  const std::string longName(80, 'x');
  ASSERT_EQ(orv_db_register_callback("z", "a", ORV_DB_ACTION_INSERT, nullptr, 0, f), 0);
  ASSERT_EQ(registerItems(ORV_DB_ACTION_ALL, f), 0);
  ASSERT_EQ(registerItems(1, g, nullptr, 8), 0);
  ASSERT_EQ(orv_db_register_callback(kDb, "item", ORV_DB_ACTION_ALL, nullptr, 0, f), 0);
  ASSERT_EQ(orv_db_cancel_callback(kDb, "item", ORV_DB_ACTION_UPDATE), 0);
  ASSERT_EQ(orv_db_register_callback(kDb, "gone", ORV_DB_ACTION_ALL, nullptr, 0, f), 0);
  ASSERT_EQ(orv_db_cancel_callback(kDb, "gone", ORV_DB_ACTION_ALL), 0);
  ASSERT_EQ(orv_db_register_callback("a", longName.c_str(), ORV_DB_ACTION_INSERT, nullptr, 0, f), 0);
  stopServer();
  EXPECT_THAT(startServer(1, 6), ElementsAre(registerRecord("a", longName, 1, 0), lastRegistration(),
                                             registerRecord(kDb, "item", 5, 0), registerRecord(kDb, kTable, 6, 0),
                                             registerRecord(kDb, kTable, 1, 8), registerRecord("z", "a", 1, 0)));
  EXPECT_THAT(callsFor({}, 1), IsEmpty());
  EXPECT_THAT(recordsSent(), IsEmpty());
}

TEST_F(Recovery, MeanwhileEverythingThatSendsReturns13) {
  ASSERT_EQ(registerItems(3, f), 0);
  stopServer();
  EXPECT_EQ(notifyItems(), 13);
  EXPECT_EQ(orv_db_register_callback(kDb, "new", ORV_DB_ACTION_INSERT, nullptr, 0, g), 13);
  EXPECT_EQ(EventMgr::acknowledgement(), EventMgr::kWaiting);
  // The entry is changed all the same.
  EXPECT_EQ(cancelItems(1), 13);
  EXPECT_EQ(orv_db_cancel_callback(kDb, "new", ORV_DB_ACTION_INSERT), 0);

  EXPECT_THAT(startServer(1, 2), ElementsAre(lastRegistration(), registerRecord(kDb, kTable, 2, 0)));
  EXPECT_THAT(callsFor({itemsChange(1, 1), changeRecord(kDb, "new", 1, 1)}, 1), IsEmpty());
  EXPECT_EQ(orv_db_register_callback(kDb, "new", ORV_DB_ACTION_INSERT, nullptr, 0, g), 0);
  EXPECT_THAT(callsFor({changeRecord(kDb, "new", 1, 1)}, 1), ElementsAre(Call{'g', kDb, "new", 1, 1}));
}

TEST_F(Recovery, RegistrationThatTimedOutIsNotReplayed) {
  peer.answerRegistrations(Answer::silence);
  ASSERT_EQ(registerItems(1, f), 7);
  stopServer();
  EXPECT_THAT(startServer(1, 1), ElementsAre(lastRegistration()));
  EXPECT_THAT(callsFor({itemsChange(1, 1)}, 1), IsEmpty());
  EXPECT_THAT(recordsSent(), IsEmpty());
}

// The server's answers to the replay are not taken for the answer to a registration.
TEST_F(Recovery, RepliesToTheReplayAreIgnored) {
  ASSERT_EQ(registerItems(1, f), 0);
  stopServer();
  const int before = EventMgr::posts();
  startServer(1, 2);
  // Behind the replies.
  EXPECT_THAT(callsFor({}, 1), IsEmpty());
  EXPECT_EQ(EventMgr::posts(), before);
  EXPECT_EQ(EventMgr::acknowledgement(), EventMgr::kReceived);
}

TEST_F(Recovery, EndOfStreamInTheMiddleOfARecordDeliversNothingOfIt) {
  ASSERT_EQ(registerItems(1, f), 0);
  recordsSent();
  Bytes half = concatenated({itemsChange(1, 1)});
  half.resize(140);
  peer.sendBytes(0, half);
  peer.closeConnection(0);
  EXPECT_THAT(bytesOf(peer.waitForRecords(2)), ElementsAre(lastRegistration(), registerRecord(kDb, kTable, 1, 0)));
  EXPECT_THAT(callsFor({itemsChange(1, 2)}, 1), ElementsAre(Call{'f', kDb, kTable, 1, 2}));
}

// Connection 1 is closed as soon as it is made, so the replay fails; its failed read starts the next recovery.
TEST_F(Recovery, StartsAnewWhenTheReplayFails) {
  ASSERT_EQ(registerItems(1, f), 0);
  recordsSent();
  peer.closeAfter(1, 0);
  peer.closeConnection(0);
  peer.waitForConnection(2);
  EXPECT_THAT(bytesOf(peer.waitForRecords(2)), ElementsAre(lastRegistration(), registerRecord(kDb, kTable, 1, 0)));
  EXPECT_THAT(callsFor({itemsChange(1, 2)}, 2), ElementsAre(Call{'f', kDb, kTable, 1, 2}));
}

// The server does not read, so the replay stands still in the middle.
TEST_F(Recovery, ReplayHoldsTheLocksOfRegistrationsAndCancellationsUntilItIsDone) {
  constexpr std::size_t kEnoughToFillTheSocket = 400;
  for (std::size_t i = 0; i < kEnoughToFillTheSocket; ++i) {
    ASSERT_EQ(orv_db_register_callback(kDb, std::to_string(i).c_str(), ORV_DB_ACTION_INSERT, nullptr, 0, f), 0);
  }
  recordsSent();
  peer.stopReading(1);
  peer.closeConnection(0);
  peer.waitForConnection(1);
  EXPECT_TRUE(waitUntil([] { return EventMgr::regLockIsHeld() && EventMgr::mapLockIsHeld(); }));
  EXPECT_EQ(notifyItems(), 13);
  EXPECT_TRUE(EventMgr::regLockIsHeld() && EventMgr::mapLockIsHeld());

  peer.resumeReading(1);
  peer.waitForRecords(kEnoughToFillTheSocket + 1);
  EXPECT_THAT(callsFor({}, 1), IsEmpty());
  EXPECT_FALSE(EventMgr::regLockIsHeld() || EventMgr::mapLockIsHeld());
}

TEST_F(Recovery, GoesOnWhileOtherThreadsUseTheClient) {
  std::atomic<bool> enough{false};
  std::vector<std::thread> threads(3);
  for (std::size_t i = 0; i < threads.size(); ++i) {
    threads[i] = std::thread([&enough, table = std::to_string(i)] {
      while (!enough) {
        const int registered = orv_db_register_callback(kDb, table.c_str(), ORV_DB_ACTION_INSERT, nullptr, 0, f);
        const int notified = orv_db_notify_change(kDb, table.c_str(), ORV_DB_ACTION_INSERT, 0);
        const int cancelled = orv_db_cancel_callback(kDb, table.c_str(), ORV_DB_ACTION_INSERT);
        EXPECT_THAT(registered, AnyOf(0, 12, 13));
        EXPECT_THAT(notified, AnyOf(0, 13));
        EXPECT_THAT(cancelled, AnyOf(0, 13));
        std::this_thread::yield();
      }
    });
  }
  for (int connection = 0; connection < 2; ++connection) {
    peer.closeConnection(connection);
    peer.waitForConnection(connection + 1);
  }
  enough = true;
  for (std::thread &thread : threads)
    thread.join();
  EXPECT_THAT(callsFor({}, 2), IsEmpty());
  EXPECT_EQ(registerItems(1, f), 0);
  EXPECT_THAT(callsFor({itemsChange(1, 2)}, 2), ElementsAre(Call{'f', kDb, kTable, 1, 2}));
}

TEST_F(Recovery, LostConnectionIsClosed) {
  const int lost = EventMgr::socket();
  stopServer();
  EXPECT_EQ(EventMgr::socket(), -1);
  EXPECT_EQ(fcntl(lost, F_GETFD), -1);
}

}  // namespace

// Arguments that the three exported functions refuse, and what they do without a notification server.
#include <orvdb_client.h>

#include <thread>

#include "core/last_error.h"
#include "core/log.h"
#include "event_mgr_access.h"
#include "event_support.h"
#include "support/child_program.h"
#include "support/system_log.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

using NotificationArguments = NotificationClient;

TEST_F(NotificationArguments, NullNameReturns3WithoutTouchingTheSocketOrTheRegistry) {
  const std::vector<RegistryEntry> before = EventMgr::registry();
  EXPECT_EQ(orv_db_notify_change(nullptr, "t", ORV_DB_ACTION_INSERT, 0), 3);
  EXPECT_EQ(orv_db_notify_change("d", nullptr, ORV_DB_ACTION_INSERT, 0), 3);
  EXPECT_EQ(orv_db_register_callback(nullptr, "last", ORV_DB_ACTION_INSERT, nullptr, 0, f), 3);
  EXPECT_EQ(orv_db_register_callback("last", nullptr, ORV_DB_ACTION_INSERT, nullptr, 0, f), 3);
  EXPECT_EQ(orv_db_cancel_callback(nullptr, "last", ORV_DB_ACTION_INSERT), 3);
  EXPECT_EQ(orv_db_cancel_callback("last", nullptr, ORV_DB_ACTION_INSERT), 3);
  EXPECT_THAT(recordsSent(), IsEmpty());
  EXPECT_EQ(EventMgr::registry(), before);
}

TEST_F(NotificationArguments, ActionWithoutAnyOfItsThreeBitsReturns3WithoutTouchingTheSocketOrTheRegistry) {
  const std::vector<RegistryEntry> before = EventMgr::registry();
  for (const int mask : {0, 8, 0x100, 0x7ffffff8}) {
    EXPECT_EQ(orv_db_notify_change("d", "t", actions(mask), 0), 3) << mask;
    EXPECT_EQ(orv_db_register_callback("last", "last", actions(mask), nullptr, 0, f), 3) << mask;
    EXPECT_EQ(orv_db_cancel_callback("last", "last", actions(mask)), 3) << mask;
  }
  EXPECT_THAT(recordsSent(), IsEmpty());
  EXPECT_EQ(EventMgr::registry(), before);
}

TEST_F(NotificationArguments, OneOfTheThreeBitsBesideOthersIsEnough) {
  EXPECT_EQ(orv_db_notify_change("d", "t", actions(8 | 1), 0), 0);
  EXPECT_EQ(orv_db_register_callback("d", "t", actions(8 | 2), nullptr, 0, f), 0);
  EXPECT_EQ(orv_db_cancel_callback("d", "t", actions(8 | 2)), 0);
  EXPECT_THAT(recordsSent(),
              ElementsAre(changeRecord("d", "t", 9, 0), registerRecord("d", "t", 10, 0), cancelRecord("d", "t", 10)));
}

TEST_F(NotificationArguments, ErrorTextStaysAsItIs) {
  setLastError("an earlier failure");
  EXPECT_EQ(orv_db_notify_change(nullptr, "t", ORV_DB_ACTION_INSERT, 0), 3);
  EXPECT_EQ(notifyItems(), 0);
  EXPECT_EQ(registerItems(1, f), 0);
  EXPECT_EQ(cancelItems(1), 0);
  EXPECT_STREQ(orv_db_get_error_str(), "an earlier failure");
}

TEST(WithoutServer, NothingIsOpenAndAStartIsDue) {
  EXPECT_FALSE(EventMgr::running());
  EXPECT_TRUE(EventMgr::needsInit());
  EXPECT_EQ(EventMgr::socket(), -1);
  EXPECT_EQ(EventMgr::exitPipe(0), -1);
  EXPECT_EQ(EventMgr::exitPipe(1), -1);
  EXPECT_EQ(EventMgr::acknowledgement(), EventMgr::kLost);
  EXPECT_EQ(EventMgr::posts(), 0);
  EXPECT_THAT(EventMgr::registry(), IsEmpty());
}

TEST(WithoutServer, EveryNotificationReturns12) {
  for (int i = 0; i < 3; ++i)
    EXPECT_EQ(notifyItems(), 12);
}

TEST(WithoutServer, NotificationStartsTheClientAsSoonAsThereIsAServer) {
  ASSERT_EQ(notifyItems(), 12);
  NotificationPeer peer;
  EXPECT_EQ(notifyItems(5), 0);
  EXPECT_THAT(peer.remainingRecords(), ElementsAre(PeerRecord{0, itemsChange(1, 5)}));
  EXPECT_FALSE(EventMgr::needsInit());
}

TEST(WithoutServer, RegistrationAndCancellationReturn12AndNeverStartTheClient) {
  EXPECT_EQ(registerItems(1, f), 12);
  EXPECT_EQ(cancelItems(1), 12);
  NotificationPeer peer;
  EXPECT_EQ(registerItems(1, f), 12);
  EXPECT_EQ(cancelItems(1), 12);
  EXPECT_EQ(peer.connectionCount(), 0);
  EXPECT_THAT(EventMgr::registry(), IsEmpty());

  ASSERT_EQ(notifyItems(), 0);
  EXPECT_EQ(registerItems(1, f), 0);
}

TEST(WithoutServer, RefusedArgumentsReturn3AndDoNotStartTheClient) {
  NotificationPeer peer;
  EXPECT_EQ(orv_db_notify_change(nullptr, "t", ORV_DB_ACTION_INSERT, 0), 3);
  EXPECT_EQ(orv_db_notify_change("d", "t", actions(8), 0), 3);
  EXPECT_EQ(orv_db_register_callback("d", nullptr, ORV_DB_ACTION_INSERT, nullptr, 0, f), 3);
  EXPECT_EQ(orv_db_cancel_callback("d", "t", actions(0)), 3);
  EXPECT_EQ(peer.connectionCount(), 0);
}

TEST(WithoutServer, ThreadsThatNotifyAtOnceStartOneClient) {
  NotificationPeer peer;
  std::vector<std::thread> threads(8);
  for (std::thread &thread : threads)
    thread = std::thread([] { EXPECT_EQ(notifyItems(), 0); });
  for (std::thread &thread : threads)
    thread.join();
  EXPECT_EQ(peer.remainingRecords().size(), 8U);
  EXPECT_EQ(peer.connectionCount(), 1);
}

CHILD_PROGRAM(FailsToNotifyAndLogsOneLine) {
  EXPECT_EQ(notifyItems(), 12);
  EXPECT_EQ(registerItems(1, f), 12);
  EXPECT_EQ(cancelItems(1), 12);
  db_api_log("the only line");
  return 0;
}

TEST(WithoutServer, FailuresAreNotLogged) {
  SystemLog log;
  ASSERT_EQ(runAs("QZ_test", FailsToNotifyAndLogsOneLine), exited(0));
  EXPECT_THAT(log.texts(), ElementsAre("[DBAPI] the only line"));
}

TEST(WithoutServer, RetryStartsTheClientOnceAndOnlyOnce) {
  EXPECT_EQ(orv_db_retry_init(), 1);
  NotificationPeer peer;
  EXPECT_EQ(orv_db_retry_init(), 0);
  EXPECT_EQ(orv_db_retry_init(), 0);
  EXPECT_EQ(peer.connectionCount(), 1);
}

}  // namespace

// Starting what could not be started when the library was loaded.
#include <gtest/gtest.h>
#include <orvdb_client.h>

#include "in_child.h"
#include "support/child_program.h"
#include "support/notification_peer.h"

namespace {

CHILD_PROGRAM(Retries) { return orv_db_retry_init(); }

CHILD_PROGRAM(Announces) { return orv_db_notify_change("d", "t", ORV_DB_ACTION_INSERT, 1); }

}  // namespace

TEST(RetryInit, Returns1AsLongAsThereIsNoNotificationServer) {
  EXPECT_EQ(orv_db_retry_init(), 1);
  EXPECT_EQ(orv_db_retry_init(), 1);
}

TEST(RetryInit, Returns0OnceTheServerIsThere) {
  EXPECT_EQ(orv_db_retry_init(), 1);
  NotificationPeer peer;
  EXPECT_EQ(peer.connectionCount(), 0);
  EXPECT_EQ(orv_db_retry_init(), 0);
  EXPECT_EQ(peer.waitForConnection(0), getpid());
  EXPECT_EQ(orv_db_notify_change("d", "t", ORV_DB_ACTION_INSERT, 7), 0);
  EXPECT_EQ(peer.remainingRecords(), (std::vector{PeerRecord{0, changeRecord("d", "t", 1, 7)}}));
}

TEST(RetryInit, MakesNoSecondConnection) {
  NotificationPeer peer;
  EXPECT_EQ(orv_db_retry_init(), 0);
  EXPECT_EQ(orv_db_retry_init(), 0);
  EXPECT_EQ(peer.connectionCount(), 1);
}

TEST(RetryInit, Returns0AtOnceWhenTheServerWasThereAtLoad) {
  NotificationPeer peer;
  EXPECT_EQ(run(Retries), exited(0));
  EXPECT_EQ(peer.connectionCount(), 1);
}

TEST(RetryInit, IsNotNeededWhenTheServerWasThereAtLoad) {
  NotificationPeer peer;
  EXPECT_EQ(run(Announces), exited(0));
  EXPECT_EQ(peer.remainingRecords(), (std::vector{PeerRecord{0, changeRecord("d", "t", 1, 1)}}));
}

// What counts is that the start succeeded once: this child's own start failed, and the next call does not try again.
TEST(RetryInit, RemembersThatTheStartSucceeded) {
  NotificationPeer peer;
  ASSERT_EQ(orv_db_retry_init(), 0);
  peer.stopListening();
  const auto child = [] {
    if (orv_db_notify_change("d", "t", ORV_DB_ACTION_INSERT, 1) != ORV_DB_GONE) return 1;
    return orv_db_retry_init() == 0 ? 0 : 2;
  };
  EXPECT_EQ(inChild(child), exited(0));
  EXPECT_EQ(peer.connectionCount(), 1);
}

// The order in which the library comes to life and ends. Built twice, with the library's files linked in their order
// and in the reversed one.
#include <gtest/gtest.h>

#include <functional>

#include "core/change_report.h"
#include "core/connection.h"
#include "event/db_event_mgr.h"
#include "exit_order.h"
#include "query/raw_set.h"
#include "query/set_pool.h"
#include "query/stmt_set.h"
#include "support/child_program.h"
#include "support/notification_peer.h"

namespace {

bool isWithin(const void *part, const void *object, std::size_t size) {
  const std::less<const void *> before;
  return !before(part, object) && before(part, static_cast<const char *>(object) + size);
}

CHILD_PROGRAM(ReportsWhatEnds) {
  reportDestruction();
  return 0;
}

}  // namespace

TEST(LOAD_ORDER_SUITE, BeginsWithTheEventManager) {
  EXPECT_EQ(libraryObject(0).address, db_event_mgr::getInstance());
  EXPECT_FALSE(libraryObject(0).locksWereThere);
}

TEST(LOAD_ORDER_SUITE, GoesOnWithLocksAndForkHandlersBeforeAnyOtherObject) {
  for (std::size_t i = 1; i < kLibraryObjects; ++i) {
    EXPECT_TRUE(libraryObject(i).locksWereThere) << i;
    EXPECT_TRUE(libraryObject(i).forkHandlersWereThere) << i;
  }
}

TEST(LOAD_ORDER_SUITE, MakesTheRegistriesAndPoolsInTheirOrder) {
  EXPECT_EQ(libraryObject(1).address, &s_mapConnInfo);
  EXPECT_EQ(libraryObject(4).address, &s_mapPendingTables);
  RawSetInfo *raw = allocRawSetInfo();
  EXPECT_TRUE(isWithin(raw, libraryObject(2).address, sizeof(exit_emptied<set_pool<RawSetInfo>>)));
  freeRawSetInfo(raw);
  StmtSetInfo *stmt = allocStmtSetInfo();
  EXPECT_TRUE(isWithin(stmt, libraryObject(3).address, sizeof(exit_emptied<set_pool<StmtSetInfo>>)));
  freeStmtSetInfo(stmt);
}

// The sixth object is the mark that the process ends, set before anything is emptied.
TEST(LOAD_ORDER_SUITE, IsReversedAtExit) {
  ChildProgram child(ReportsWhatEnds);
  EXPECT_EQ(child.wait(), exited(0));
  EXPECT_EQ(child.output(), "5 1\n4 1\n3 1\n2 1\n1 1\n0 1\n");
}

TEST(LOAD_ORDER_SUITE, EndsWithTheMessageThreadAndItsConnection) {
  NotificationPeer peer;
  ChildProgram child(ReportsWhatEnds);
  EXPECT_EQ(child.wait(), exited(0));
  EXPECT_EQ(child.output(), "5 1\n4 1\n3 1\n2 1\n1 1\n0 1\n");
  EXPECT_EQ(peer.connectionCount(), 1);
  EXPECT_TRUE(peer.isClosed(0));
}

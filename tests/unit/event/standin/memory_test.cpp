// What the notification client does when memory runs out.
#include "event_mgr_access.h"
#include "event_support.h"
#include "standin/stand_ins.h"
#include "support/child_program.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

using OutOfMemory = NotificationClient;

// The names are too long to be stored without memory of their own.
constexpr char kLongDb[] = "a database name of some length";
constexpr char kLongTable[] = "a table name of some length, too";

TEST_F(OutOfMemory, RegistrationReturns4WithNothingSentNothingChangedAndNoLockHeld) {
  const std::vector<RegistryEntry> before = EventMgr::registry();
  const auto registerWith = [] {
    return orv_db_register_callback(kLongDb, kLongTable, ORV_DB_ACTION_INSERT, nullptr, 0, f);
  };
  int allocation = 0;
  for (;; ++allocation) {
    failAllocation(allocation);
    const int status = registerWith();
    if (!allocationHasFailed()) {
      EXPECT_EQ(status, 0);
      break;
    }
    EXPECT_EQ(status, 4);
    EXPECT_THAT(recordsSent(), IsEmpty());
    EXPECT_EQ(EventMgr::registry(), before);
  }
  // Both names and the entry at least.
  EXPECT_GE(allocation, 3);
  EXPECT_THAT(recordsSent(), ElementsAre(registerRecord(kLongDb, kLongTable, 1, 0)));
  EXPECT_THAT(callsFor({changeRecord(kLongDb, kLongTable, 1, 1)}), ElementsAre(Call{'f', kLongDb, kLongTable, 1, 1}));
}

TEST_F(OutOfMemory, NotificationAndCancellationNeedNone) {
  ASSERT_EQ(orv_db_register_callback(kLongDb, kLongTable, ORV_DB_ACTION_INSERT, nullptr, 0, f), 0);
  failAllocation();
  const int notified = orv_db_notify_change(kLongDb, kLongTable, ORV_DB_ACTION_INSERT, 0);
  const int cancelled = orv_db_cancel_callback(kLongDb, kLongTable, ORV_DB_ACTION_INSERT);
  const bool allocated = allocationHasFailed();
  EXPECT_EQ(notified, 0);
  EXPECT_EQ(cancelled, 0);
  EXPECT_FALSE(allocated);
}

CHILD_PROGRAM(UsesAManagerThatCouldNotBeCreated) {
  const auto failing = [](auto call) {
    failAllocation();
    const int status = call();
    EXPECT_TRUE(allocationHasFailed());
    return status;
  };
  EXPECT_EQ(failing([] { return notifyItems(); }), 6);
  EXPECT_EQ(failing([] { return registerItems(1, f); }), 6);
  EXPECT_EQ(failing([] { return cancelItems(1); }), 6);
  EXPECT_EQ(failing([] { return orv_db_retry_init(); }), 1);
  EXPECT_EQ(registerItems(1, f), 12);
  EXPECT_EQ(notifyItems(1), 0);
  EXPECT_EQ(registerItems(1, f), 0);
  return 0;
}

// The first allocation at load is the lock of the log, then come the manager's four locks.
TEST(ManagerThatCannotBeCreated, MakesEveryFunctionReturn6UntilThereIsMemory) {
  NotificationPeer peer;
  for (int allocation = 1; allocation <= 4; ++allocation) {
    ChildProgram::Setting setting;
    setting.environment = {kFailAllocationAtLoad + ("=" + std::to_string(allocation))};
    ChildProgram child(UsesAManagerThatCouldNotBeCreated, {}, setting);
    EXPECT_EQ(child.wait(), exited(0)) << child.output();
    EXPECT_EQ(peer.connectionCount(), allocation);
    EXPECT_THAT(bytesOf(peer.remainingRecords()), ElementsAre(itemsChange(1, 1), registerRecord(kDb, kTable, 1, 0)));
  }
}

}  // namespace

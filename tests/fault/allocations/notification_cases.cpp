// With a notification client that runs; manager_test.cpp has those without.
#include "fault/allocations/cases.h"

namespace {

constexpr char kDb[] = "a_database_with_a_long_name";

bool isRegistered() { return EventMgr::registeredActions(kDb, kTable) != 0; }

int registerTable() { return orv_db_register_callback(kDb, kTable, ORV_DB_ACTION_ALL, nullptr, 0, nullptr); }
int cancelTable() { return orv_db_cancel_callback(kDb, kTable, ORV_DB_ACTION_ALL); }

Case registration() {
  Case one{"orv_db_register_callback", "", Case::status4, 0, [](World &) { return registerTable(); }};
  one.release = [](World &) { EventMgr::clearRegistry(); };
  one.isDone = [](World &) { return isRegistered(); };
  one.announces = 1;
  return one;
}

Case cancellation() {
  Case one{"orv_db_cancel_callback", "", Case::needsNoMemory, 0, [](World &) { return cancelTable(); }};
  one.prepare = [](World &world) {
    EXPECT_EQ(registerTable(), 0);
    world.peer().waitForRecords(1);
  };
  one.isDone = [](World &) { return !isRegistered(); };
  one.announces = 1;
  return one;
}

}  // namespace

std::vector<Case> notificationCases() {
  Case announcement{"orv_db_notify_change", "", Case::needsNoMemory, 0,
                    [](World &) { return orv_db_notify_change(kDb, kTable, ORV_DB_ACTION_INSERT, 1); }};
  announcement.announces = 1;
  return {
      {"orv_db_retry_init", "", Case::needsNoMemory, 0, [](World &) { return orv_db_retry_init(); }},
      announcement,
      registration(),
      cancellation(),
  };
}

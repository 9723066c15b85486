// The functions of the notification client in a process that had no memory for it when it was loaded: they try to make
// it, and say so as long as they can't.
#include <new>

#include "event_support.h"
#include "fault/allocations/memory.h"
#include "support/child_program.h"
#include "support/system_log.h"

namespace {

struct Function {
  const char *name;
  int (*call)();
  int withoutMemory;
  int usual;  // of the call that makes the manager
};

// Registering and cancelling never start it.
constexpr Function kFunctions[] = {
    {"orv_db_retry_init", orv_db_retry_init, 1, 0},
    {"orv_db_notify_change", [] { return notifyItems(); }, 6, 0},
    {"orv_db_register_callback", [] { return registerItems(1, f); }, 6, 12},
    {"orv_db_cancel_callback", [] { return cancelItems(1); }, 6, 12},
};
constexpr int kManagersLocks = 4;
constexpr int kItsFirstAllocation = 2;  // behind that of the log's lock

CHILD_PROGRAM(MakesTheManagerThatWasNotMade) {
  const Function &function = kFunctions[std::stoul(arguments.at(0))];
  const auto length = arguments.at(1) == "once" ? Shortage::once : Shortage::forGood;
  int failed = 0;
  int status = -1;
  for (bool happened = true; happened;) {
    const long before = liveAllocations();
    {
      const Shortage shortage(failed + 1, length);
      status = function.call();
      happened = shortage.happened();
    }
    if (!happened) break;
    ++failed;
    EXPECT_EQ(status, function.withoutMemory);
    EXPECT_EQ(liveAllocations(), before);
  }
  EXPECT_EQ(failed, kManagersLocks);
  EXPECT_EQ(status, function.usual);
  // It is as good as any.
  EXPECT_EQ(notifyItems(1), 0);
  EXPECT_EQ(registerItems(1, f), 0);
  EXPECT_EQ(cancelItems(1), 0);
  return 0;
}

}  // namespace

TEST(MemoryShortageWithoutManager, GivesEachFunctionItsStatusUntilThereIsMemory) {
  NotificationPeer peer;
  ChildProgram::Setting setting;
  setting.environment = {std::string(kFailAllocationAtLoad) + '=' + std::to_string(kItsFirstAllocation)};
  for (std::size_t i = 0; i < std::size(kFunctions); ++i) {
    for (const char *length : {"once", "for good"}) {
      SCOPED_TRACE(std::string(kFunctions[i].name) + ' ' + length);
      ChildProgram child(MakesTheManagerThatWasNotMade, {std::to_string(i), length}, setting);
      EXPECT_EQ(child.wait(), exited(0)) << child.output();
    }
  }
}

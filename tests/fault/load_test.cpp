// What fails while the library is loaded: it stays usable, and a later call makes up for it. Each case is a program of
// its own, whose failing call is set before it starts.
#include "fault/fault_test.h"
#include "support/child_program.h"

namespace {

using ::testing::UnorderedElementsAre;

// Runs the program with this call failing, under a name whose process logs.
void runWith(const std::string &failingCall, const RegisteredProgram &program) {
  ChildProgram::Setting setting;
  setting.executableName = "QZ_load";
  setting.environment = {std::string(kFailAtLoad) + '=' + failingCall};
  ChildProgram child(program, {}, setting);
  EXPECT_EQ(child.wait(), exited(0)) << child.output();
}

// What the call returns when the first allocation in it fails.
template <class Call>
int withoutMemory(Call call) {
  const FailingCall failing(kAllocation);
  const int status = call();
  EXPECT_TRUE(failing.happened());
  return status;
}

CHILD_PROGRAM(GoesWithoutManager) {
  EXPECT_EQ(withoutMemory([] { return orv_db_notify_change("d", "t", ORV_DB_ACTION_INSERT, 1); }), 6);
  EXPECT_EQ(withoutMemory([] { return orv_db_register_callback("d", "t", ORV_DB_ACTION_INSERT, nullptr, 0, nullptr); }),
            6);
  EXPECT_EQ(withoutMemory([] { return orv_db_cancel_callback("d", "t", ORV_DB_ACTION_INSERT); }), 6);
  EXPECT_EQ(withoutMemory(orv_db_retry_init), 1);
  const Handle handle = openHandle();
  EXPECT_EQ(orv_db_test_connection(handle.get()), 0);
  return 0;
}

CHILD_PROGRAM(ForksWithoutManager) {
  EXPECT_TRUE(withoutMemory([] { return forkWorks() ? 1 : 0; }));
  return 0;
}

// The child has to find every lock free, and the parent, too.
CHILD_PROGRAM(WorksAfterAForkWithoutManager) {
  const auto worksAndForks = [] { return openHandle() != nullptr && forkWorks(); };
  pid_t child = -1;
  EXPECT_TRUE(withoutMemory([&child] { return (child = fork()) >= 0 ? 1 : 0; }));
  if (child == 0) _exit(worksAndForks() ? 0 : 1);
  EXPECT_TRUE(endedWell(child));
  EXPECT_TRUE(worksAndForks());
  return 0;
}

CHILD_PROGRAM(RetriesWithoutManager) {
  EXPECT_EQ(orv_db_retry_init(), 0);
  EXPECT_EQ(orv_db_notify_change("d", "t", ORV_DB_ACTION_INSERT, 1), 0);
  return 0;
}

CHILD_PROGRAM(RetriesForkHandlers) {
  // Nobody starts a notification client in this child.
  EXPECT_TRUE(forkWorks());
  {
    const FailingCall failing("__register_atfork");
    EXPECT_EQ(orv_db_retry_init(), 1);
    EXPECT_TRUE(failing.happened());
  }
  EXPECT_EQ(orv_db_retry_init(), 0);
  EXPECT_TRUE(forkWorks());
  // They are not registered again.
  const FailingCall failing("__register_atfork");
  EXPECT_EQ(orv_db_retry_init(), 0);
  EXPECT_FALSE(failing.happened());
  return 0;
}

class Load : public ::testing::Test {
 protected:
  SystemLog log_;
  NotificationPeer peer_;
};

}  // namespace

// The first allocation of the process is that of the log's lock, the next four are the event manager's locks.
TEST_F(Load, LogsThatThereIsNoManagerAndGoesWithoutIt) {
  for (std::size_t allocation = 2; allocation <= 5; ++allocation) {
    SCOPED_TRACE(allocation);
    runWith("operator new:" + std::to_string(allocation), GoesWithoutManager);
    ASSERT_EQ(log_.lines().size(), allocation - 1);
    EXPECT_EQ(log_.lines().back().text, "[DBAPI] initializer:pEvtMgr==NULL");
    EXPECT_EQ(log_.lines().back().priority, 11);
  }
  EXPECT_EQ(peer_.connectionCount(), 0);
}

TEST_F(Load, ForkHandlersLogThatThereIsNoManager) {
  runWith("operator new:2", ForksWithoutManager);
  EXPECT_THAT(log_.texts(), UnorderedElementsAre(
                                "[DBAPI] initializer:pEvtMgr==NULL", "[DBAPI] prepare_fork:pEvtMgr==NULL",
                                "[DBAPI] parent_after_fork:pEvtMgr==NULL", "[DBAPI] child_after_fork:pEvtMgr==NULL"));
}

TEST_F(Load, ForkWithoutManagerLeavesAllLocksFree) { runWith("operator new:2", WorksAfterAForkWithoutManager); }

TEST_F(Load, RetryCreatesTheManagerThatCouldNotBeCreated) {
  runWith("operator new:3", RetriesWithoutManager);
  EXPECT_EQ(peer_.waitForRecords(1), (std::vector{PeerRecord{0, changeRecord("d", "t", 1, 1)}}));
}

TEST_F(Load, RetryRegistersTheForkHandlersThatCouldNotBeRegistered) {
  runWith("__register_atfork:1", RetriesForkHandlers);
  // The program's own connection, and that of the child it forked with the handlers in place.
  EXPECT_EQ(peer_.connectionCount(), 2);
}

// The end of the message thread at unlucky moments. The programs are loaded without a peer, so that their stand-ins are
// in place when they connect.
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/select.h>

#include <memory>
#include <thread>

#include "event_mgr_access.h"
#include "event_support.h"
#include "exit_hooks.h"
#include "standin/stand_ins.h"
#include "support/child_program.h"

namespace {

using namespace std::chrono_literals;
using ::testing::HasSubstr;

std::atomic<bool> reached{false};

// Starts the client when the test has its peer, and returns from main() when the message thread is where it should be.
void connectAndWaitUntilReached() {
  say("ready\n");
  char byte = 0;
  EXPECT_EQ(__real_read(STDIN_FILENO, &byte, 1), 1);
  EXPECT_EQ(orv_db_retry_init(), 0);
  say("connected\n");
  EXPECT_TRUE(waitUntil([] { return reached.load(); }));
  static const Stopwatch stopwatch;
  // The wait for a thread that does not answer takes four seconds.
  afterTheManager = [] { say(stopwatch.elapsed() < 4s ? "quick" : "slow"); };
}

class Stopping : public ::testing::Test {
 protected:
  void connect(ChildProgram &child) {
    child.waitForOutput("ready");
    peer_ = std::make_unique<NotificationPeer>();
    child.writeInput("x");
    child.waitForOutput("connected");
  }
  static void expectQuickEnd(ChildProgram &child) {
    EXPECT_EQ(child.wait(), exited(0)) << child.output();
    EXPECT_THAT(child.output(), HasSubstr("quick"));
  }
  NotificationPeer &peer() { return *peer_; }

 private:
  std::unique_ptr<NotificationPeer> peer_;
};

CHILD_PROGRAM(IsStoppedJustBeforePoll) {
  standIns.poll.play([](pollfd *entries, nfds_t count, int timeout) {
    if (!reached.exchange(true)) {
      while (EventMgr::running())
        usleep(100);
    }
    return __real_poll(entries, count, timeout);
  });
  connectAndWaitUntilReached();
  return 0;
}

TEST_F(Stopping, IsQuickAlsoWhenTheSignalLandsBetweenTheLoopsTestAndPoll) {
  ChildProgram child(IsStoppedJustBeforePoll);
  connect(child);
  expectQuickEnd(child);
}

CHILD_PROGRAM(HasManyDescriptors) {
  rlimit limit{};
  getrlimit(RLIMIT_NOFILE, &limit);
  limit.rlim_cur = 2048;
  EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
  for (int descriptor = 0; descriptor < FD_SETSIZE;)
    descriptor = open("/dev/null", O_RDONLY);
  reached = true;
  connectAndWaitUntilReached();
  EXPECT_GE(EventMgr::exitPipe(0), FD_SETSIZE);
  return 0;
}

TEST_F(Stopping, IsQuickWithDescriptorsThatASelectCouldNotHold) {
  ChildProgram child(HasManyDescriptors);
  connect(child);
  expectQuickEnd(child);
}

CHILD_PROGRAM(LooksAtTheLockWhenTheMarkIsWritten) {
  standIns.write.play([](int fd, const void *bytes, size_t count) {
    // Whoever stops the thread may hold the lock for a moment, too.
    if (fd == EventMgr::exitPipe(1)) say(waitUntil([] { return !EventMgr::runLockIsHeld(); }) ? "free\n" : "held\n");
    return __real_write(fd, bytes, count);
  });
  reached = true;
  connectAndWaitUntilReached();
  return 0;
}

TEST_F(Stopping, MarkIsWrittenWhenTheThreadHoldsNoLockAnyMore) {
  ChildProgram child(LooksAtTheLockWhenTheMarkIsWritten);
  connect(child);
  expectQuickEnd(child);
  EXPECT_THAT(child.output(), HasSubstr("free\n"));
}

std::atomic<bool> lockIsTaken{false};

// The wait for the message thread fails when that thread is about to take the lock for its last look at the pipe, and
// has to wait for somebody else who has it.
CHILD_PROGRAM(EndsBesideAThreadAtItsLastStep) {
  standIns.poll.play([](pollfd *entries, nfds_t count, int timeout) {
    if (entries->fd == EventMgr::exitPipe(0)) {
      EventMgr::Locks().run->lock();
      lockIsTaken = true;
      return failWith(ENOMEM);
    }
    const int ready = __real_poll(entries, count, timeout);
    if (!EventMgr::running()) waitUntil([] { return lockIsTaken.load(); });
    return ready;
  });
  reached = true;
  connectAndWaitUntilReached();
  afterTheManager = [] { say(EventMgr::exitPipe(1) >= 0 ? "left open" : "closed"); };
  std::thread([] { exit(0); }).join();  // the main thread has no stand-ins
  return 1;
}

TEST_F(Stopping, LeavesThePipeToAThreadThatMayStillWriteItsMark) {
  ChildProgram child(EndsBesideAThreadAtItsLastStep);
  connect(child);
  EXPECT_EQ(child.wait(), exited(0)) << child.output();
  EXPECT_THAT(child.output(), HasSubstr("left open"));
}

CHILD_PROGRAM(IsStoppedDuringALongPause) {
  standIns.sleep.play([](const timespec *, timespec *left) {
    const timespec minute{60, 0};
    reached = true;
    return __real_nanosleep(&minute, left);
  });
  connectAndWaitUntilReached();
  return 0;
}

TEST_F(Stopping, EndsAPauseOfTheRecovery) {
  ChildProgram child(IsStoppedDuringALongPause);
  connect(child);
  peer().stop();
  expectQuickEnd(child);
}

CHILD_PROGRAM(ExitsAfterTheRecoveryHasGivenUp) {
  standIns.sleep.play([](const timespec *, timespec *) {
    reached = true;
    return 0;
  });
  connectAndWaitUntilReached();
  EXPECT_TRUE(waitUntil([] { return !EventMgr::running(); }));
  return 0;
}

TEST_F(Stopping, IsQuickAfterTheRecoveryHasGivenUp) {
  ChildProgram child(ExitsAfterTheRecoveryHasGivenUp);
  connect(child);
  peer().stop();
  expectQuickEnd(child);
}

CHILD_PROGRAM(ExitsWhileAStartHangs) {
  standIns.connect.play([](int, const sockaddr *, socklen_t) -> int {
    reached = true;
    for (;;)
      pause();
  });
  std::thread([] { notifyItems(); }).detach();
  EXPECT_TRUE(waitUntil([] { return reached.load(); }));
  return 0;
}

// A server that takes no connection any more holds up the start, and with it the manager's lock.
TEST(StoppingWithoutAClient, IsCompletedWhileAStartHangs) {
  ChildProgram child(ExitsWhileAStartHangs);
  EXPECT_EQ(child.wait(), exited(0)) << child.output();
}

}  // namespace

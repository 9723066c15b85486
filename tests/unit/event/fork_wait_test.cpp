// What a fork waits for, and forks inside a callback.
#include <sys/socket.h>

#include <atomic>
#include <future>
#include <thread>

#include "event_mgr_access.h"
#include "event_support.h"
#include "forked_child.h"

namespace {

using namespace std::chrono_literals;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class ForkWait : public NotificationClient {
 protected:
  // A fork on a thread of its own, until it can be seen that it waits.
  void startFork() {
    fork_ = std::async(std::launch::async, [this] {
      const pid_t child = startChecks([] { EXPECT_EQ(notifyItems(), 0); });
      const bool waited = mayGoOn_;
      isForked_ = true;
      EXPECT_EQ(waitFor(child), exited(0));
      return waited;
    });
    ASSERT_TRUE(waitUntil([] { return EventMgr::runLockIsHeld(); }));
  }
  // Call it before what the fork is to wait for comes to its end.
  void letGoOn() { mayGoOn_ = true; }
  bool forkHasWaited() { return fork_.get(); }
  // For a thread: one that ends during a fork may leave a lock of the emulator held in the child.
  void stayUntilForked() {
    EXPECT_TRUE(waitUntil([this] { return isForked_.load(); }));
  }

 private:
  std::atomic<bool> mayGoOn_{false};
  std::atomic<bool> isForked_{false};
  std::future<bool> fork_;
};

TEST_F(ForkWait, LastsUntilARegistrationUnderWayIsDone) {
  peer.answerRegistrations(Answer::silence);
  std::thread registrant([this] {
    EXPECT_EQ(registerItems(1, f), 7);
    stayUntilForked();
  });
  const Stopwatch stopwatch;
  peer.waitForRecords(1);
  startFork();
  letGoOn();
  EXPECT_TRUE(forkHasWaited());
  EXPECT_GE(stopwatch.elapsed(), 1900ms);
  registrant.join();
}

TEST_F(ForkWait, LastsUntilABlockedWriterCanWrite) {
  peer.stopReading(0);
  const RecordBytes change = itemsChange(1, 0);
  while (send(EventMgr::socket(), change.data(), change.size(), MSG_DONTWAIT) > 0) {
  }
  std::thread writer([this] {
    EXPECT_EQ(notifyItems(), 0);
    stayUntilForked();
  });
  ASSERT_TRUE(waitUntil([] { return EventMgr::sockLockIsHeld(); }));
  startFork();
  letGoOn();
  peer.resumeReading(0);
  EXPECT_TRUE(forkHasWaited());
  writer.join();
}

TEST_F(ForkWait, LastsUntilTheRestOfHalfARecordArrives) {
  ASSERT_EQ(registerItems(1, f), 0);
  const Bytes change = concatenated({itemsChange(1, 1)});
  peer.sendBytes(0, Bytes(change.begin(), change.begin() + 70));
  ASSERT_TRUE(waitUntil([] { return EventMgr::sockLockIsHeld(); }));
  startFork();
  letGoOn();
  peer.sendBytes(0, Bytes(change.begin() + 70, change.end()));
  EXPECT_TRUE(forkHasWaited());
  EXPECT_THAT(callLog().waitFor(1), ElementsAre(Call{'f', kDb, kTable, 1, 1}));
}

class ForkInCallback : public NotificationClient {
 protected:
  // A child that is made inside a callback; `inChild` is done there before the callback returns.
  template <class InChild>
  pid_t childOfCallback(InChild inChild) {
    std::promise<pid_t> made;
    const Task task = [&] {
      const pid_t child = fork();
      if (child == 0) {
        inChild();
      } else {
        made.set_value(child);
      }
    };
    EXPECT_EQ(registerItems(1, runTask, const_cast<Task *>(&task)), 0);
    peer.sendRecord(0, itemsChange(1, 1));
    const pid_t child = made.get_future().get();
    EXPECT_EQ(cancelItems(1), 0);
    // The parent's message thread goes on.
    EXPECT_THAT(callsFor({itemsChange(1, 2)}), IsEmpty());
    return child;
  }
};

// It must not come back into the loop of the message thread: the child has one of its own already.
TEST_F(ForkInCallback, ChildEndsWithStatus0WhenTheCallbackReturnsThere) {
  const pid_t child = childOfCallback([] {});
  EXPECT_EQ(waitFor(child), exited(0));
  EXPECT_EQ(peer.waitForConnection(1), child);
  EXPECT_THAT(peer.waitForClose(1), IsEmpty());
}

TEST_F(ForkInCallback, ChildMayUseItsOwnConnection) {
  const pid_t child = childOfCallback([] { _exit(notifyItems(4) == 0 && registerItems(1, f) == 0 ? 0 : 1); });
  EXPECT_EQ(waitFor(child), exited(0));
  EXPECT_EQ(peer.waitForConnection(1), child);
}

TEST_F(ForkInCallback, ChildMayEndItselfByExitWithoutHandlers) {
  EXPECT_EQ(waitFor(childOfCallback([] { _exit(6); })), exited(6));
}

TEST_F(ForkInCallback, ChildMayRunAnotherProgram) {
  EXPECT_EQ(waitFor(childOfCallback([] { execl("/bin/sh", "sh", "-c", "exit 5", nullptr); })), exited(5));
}

}  // namespace

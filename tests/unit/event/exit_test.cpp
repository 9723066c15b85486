// The client's end when its process exits. Each program here is loaded with the peer already there.
#include <sys/socket.h>
#include <sys/wait.h>

#include <atomic>
#include <thread>

#include "event_mgr_access.h"
#include "event_support.h"
#include "exit_hooks.h"
#include "support/child_program.h"

namespace {

using namespace std::chrono_literals;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

// The wait for a message thread that does not answer.
constexpr auto kThreadTimeout = 4s;

Stopwatch *exitTime;

// Reports at the end whether the exit took shorter than the wait for a thread that does not answer.
void timeTheExit() {
  exitTime = new Stopwatch;
  afterTheManager = [] { say(exitTime->elapsed() < kThreadTimeout ? "quick" : "slow"); };
}

// Whatever it does, a client ends by itself, and its connection with it.
class ProcessExit : public ::testing::Test {
 protected:
  void expectQuickEnd(ChildProgram &child) {
    EXPECT_EQ(child.wait(), exited(0)) << child.output();
    EXPECT_THAT(child.output(), HasSubstr("quick"));
    EXPECT_THAT(peer.waitForClose(0), IsEmpty());
  }

  NotificationPeer peer;
};

CHILD_PROGRAM(JustReturns) {
  timeTheExit();
  return 0;
}

TEST_F(ProcessExit, IsQuick) {
  ChildProgram child(JustReturns);
  expectQuickEnd(child);
}

TEST(ProcessExitWithoutServer, IsQuick) {
  ChildProgram child(JustReturns);
  EXPECT_EQ(child.wait(), exited(0)) << child.output();
  EXPECT_THAT(child.output(), HasSubstr("quick"));
}

CHILD_PROGRAM(ReturnsDuringACallback) {
  static std::atomic<bool> called{false};
  static const Task untilTheExitHasBegun = [] {
    called = true;
    EXPECT_TRUE(waitUntil([] { return s_bMainThreadQuiting.load(); }));
  };
  EXPECT_EQ(registerItems(1, runTask, const_cast<Task *>(&untilTheExitHasBegun)), 0);
  say("ready\n");
  EXPECT_TRUE(waitUntil([] { return called.load(); }));
  timeTheExit();
  return 0;
}

TEST_F(ProcessExit, LastsAsLongAsACallbackThatEndsInTime) {
  ChildProgram child(ReturnsDuringACallback);
  child.waitForOutput("ready");
  peer.sendRecord(0, itemsChange(1, 1));
  expectQuickEnd(child);
}

CHILD_PROGRAM(ReturnsDuringACallbackThatDoesNotEnd) {
  static std::atomic<pid_t> messageThread{0};
  static std::atomic<bool> mayEnd{false};
  static const Task stuck = [] {
    messageThread = gettid();
    while (!mayEnd)
      usleep(1000);
  };
  EXPECT_EQ(registerItems(1, runTask, const_cast<Task *>(&stuck)), 0);
  say("ready\n");
  EXPECT_TRUE(waitUntil([] { return messageThread != 0; }));
  exitTime = new Stopwatch;
  afterTheManager = [] {
    say(exitTime->elapsed() >= 6s ? "after six seconds\n" : "too early\n");
    say(EventMgr::socket() == -1 && EventMgr::exitPipe(0) == -1 ? "closed\n" : "still open\n");
    // The thread that was given up finds everything as it needs it.
    mayEnd = true;
    const std::string task = "/proc/self/task/" + std::to_string(messageThread);
    say(waitUntil([&] { return access(task.c_str(), F_OK) != 0; }) ? "thread ended\n" : "thread runs on\n");
  };
  return 0;
}

TEST_F(ProcessExit, IsCompletedSixSecondsAfterAThreadThatDoesNotAnswerAndTheThreadMayEndLater) {
  ChildProgram child(ReturnsDuringACallbackThatDoesNotEnd);
  child.waitForOutput("ready");
  peer.sendRecord(0, itemsChange(1, 1));
  EXPECT_EQ(child.wait(), exited(0)) << child.output();
  EXPECT_THAT(child.output(), HasSubstr("after six seconds\nclosed\nthread ended\n"));
}

CHILD_PROGRAM(ExitsFromACallback) {
  static const Task exitWith7 = [] {
    static const Stopwatch stopwatch;
    std::atexit([] { say("handlers\n"); });
    afterTheManager = [] { say(stopwatch.elapsed() >= 5990ms ? "after six seconds\n" : "too early\n"); };
    exit(7);
  };
  EXPECT_EQ(registerItems(1, runTask, const_cast<Task *>(&exitWith7)), 0);
  say("ready\n");
  for (;;)
    pause();
}

TEST_F(ProcessExit, FromACallbackIsCompletedAfterSixSeconds) {
  ChildProgram child(ExitsFromACallback);
  child.waitForOutput("ready");
  peer.sendRecord(0, itemsChange(1, 1));
  EXPECT_EQ(child.wait(), exited(7)) << child.output();
  EXPECT_THAT(child.output(), HasSubstr("handlers\nafter six seconds\n"));
}

CHILD_PROGRAM(ThrowsFromACallback) {
  static const Task task = [] { throw std::runtime_error("from a callback"); };
  EXPECT_EQ(registerItems(1, runTask, const_cast<Task *>(&task)), 0);
  say("ready\n");
  for (;;)
    pause();
}

// Callbacks must not throw.
TEST_F(ProcessExit, IsByAbortWhenACallbackThrows) {
  ChildProgram child(ThrowsFromACallback);
  child.waitForOutput("ready");
  peer.sendRecord(0, itemsChange(1, 1));
  EXPECT_EQ(child.wait(), killedBy(SIGABRT)) << child.output();
}

CHILD_PROGRAM(ReturnsWhileAWriterIsBlocked) {
  const RecordBytes change = itemsChange(1, 0);
  while (send(EventMgr::socket(), change.data(), change.size(), MSG_DONTWAIT) > 0) {
  }
  std::thread([] { notifyItems(); }).detach();
  EXPECT_TRUE(waitUntil([] { return EventMgr::sockLockIsHeld(); }));
  timeTheExit();
  return 0;
}

TEST_F(ProcessExit, IsQuickWhileAWriterIsBlocked) {
  peer.stopReading(0);
  ChildProgram child(ReturnsWhileAWriterIsBlocked);
  EXPECT_EQ(child.wait(), exited(0)) << child.output();
  EXPECT_THAT(child.output(), HasSubstr("quick"));
}

CHILD_PROGRAM(ReturnsWhileARegistrationWaits) {
  std::thread([] { registerItems(1, f); }).detach();
  EXPECT_TRUE(waitUntil([] { return EventMgr::regLockIsHeld(); }));
  timeTheExit();
  return 0;
}

TEST_F(ProcessExit, IsQuickWhileARegistrationWaits) {
  peer.answerRegistrations(Answer::silence);
  ChildProgram child(ReturnsWhileARegistrationWaits);
  expectQuickEnd(child);
}

CHILD_PROGRAM(ReturnsWithHalfARecordRead) {
  say("ready\n");
  EXPECT_TRUE(waitUntil([] { return EventMgr::sockLockIsHeld(); }));
  timeTheExit();
  return 0;
}

TEST_F(ProcessExit, IsQuickWithHalfARecordRead) {
  ChildProgram child(ReturnsWithHalfARecordRead);
  child.waitForOutput("ready");
  peer.sendBytes(0, Bytes(70));
  expectQuickEnd(child);
}

CHILD_PROGRAM(ReturnsWhileAForkIsHeldUp) {
  say("ready\n");
  EXPECT_TRUE(waitUntil([] { return EventMgr::sockLockIsHeld(); }));
  std::thread([] {
    if (fork() == 0) _exit(0);
  }).detach();
  EXPECT_TRUE(waitUntil([] { return EventMgr::runLockIsHeld(); }));
  return 0;
}

// The fork holds the manager's lock and waits for the rest of a record.
TEST_F(ProcessExit, IsCompletedWhileAForkIsHeldUp) {
  ChildProgram child(ReturnsWhileAForkIsHeldUp);
  child.waitForOutput("ready");
  peer.sendBytes(0, Bytes(70));
  EXPECT_EQ(child.wait(), exited(0)) << child.output();
}

// Each status as a digit.
void sayStatuses() {
  const int statuses[] = {notifyItems(), registerItems(1, f), cancelItems(7)};
  for (const int status : statuses)
    say((std::to_string(status) + " ").c_str());
}

CHILD_PROGRAM(UsesTheClientUntilItsEnd) {
  EXPECT_EQ(registerItems(2, f), 0);
  std::atexit(sayStatuses);
  beforeTheManagerEnds = [] {
    say(EventMgr::socket() >= 0 ? "| connected: " : "| not connected: ");
    sayStatuses();
  };
  afterTheManager = [] {
    say(EventMgr::socket() >= 0 ? "| connected: " : "| not connected: ");
    sayStatuses();
    say(EventMgr::registry().empty() ? "| empty" : "| not empty");
  };
  return 0;
}

// The event manager ends as the last of the library; what comes late neither crashes nor starts it again.
TEST_F(ProcessExit, FindsTheManagerRunningUntilTheLastAndLeavesItUsable) {
  ChildProgram child(UsesTheClientUntilItsEnd);
  EXPECT_EQ(child.wait(), exited(0)) << child.output();
  EXPECT_THAT(child.output(), HasSubstr("0 0 0 | connected: 12 12 12 | not connected: 12 12 12 | empty"));
  EXPECT_EQ(peer.connectionCount(), 1);
}

CHILD_PROGRAM(NotifiesLateWithAServerThatCameLate) {
  say("ready\n");
  beforeTheManagerEnds = sayStatuses;
  afterTheManager = sayStatuses;
  char byte = 0;
  return read(STDIN_FILENO, &byte, 1) == 1 ? 0 : 1;
}

TEST(ProcessExitWithoutServer, StartsNoClientAnyMore) {
  ChildProgram child(NotifiesLateWithAServerThatCameLate);
  child.waitForOutput("ready");
  NotificationPeer peer;
  child.writeInput("x");
  EXPECT_EQ(child.wait(), exited(0)) << child.output();
  EXPECT_THAT(child.output(), HasSubstr("12 12 12 12 12 12 "));
  EXPECT_EQ(peer.connectionCount(), 0);
}

CHILD_PROGRAM(HasAChildThatExits) {
  const pid_t child = fork();
  if (child == 0) {
    timeTheExit();
    exit(3);
  }
  int status = 0;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(WEXITSTATUS(status), 3);
  EXPECT_EQ(notifyItems(8), 0);
  return 0;
}

TEST_F(ProcessExit, OfAForkedChildIsQuickAndLeavesTheParentAlone) {
  ChildProgram child(HasAChildThatExits);
  expectQuickEnd(child);
  EXPECT_EQ(peer.remainingRecords(), (std::vector{PeerRecord{0, itemsChange(1, 8)}}));
  EXPECT_THAT(peer.waitForClose(1), IsEmpty());
}

CHILD_PROGRAM(ReturnsWhileThreadsUseTheClient) {
  static std::atomic<int> inside{0};
  for (int i = 0; i < 8; ++i) {
    std::thread([table = std::to_string(i)] {
      for (++inside;;) {
        orv_db_register_callback(kDb, table.c_str(), ORV_DB_ACTION_INSERT, nullptr, 0, f);
        orv_db_notify_change(kDb, table.c_str(), ORV_DB_ACTION_INSERT, 0);
        orv_db_cancel_callback(kDb, table.c_str(), ORV_DB_ACTION_INSERT);
      }
    }).detach();
  }
  EXPECT_TRUE(waitUntil([] { return inside == 8; }));
  return 0;
}

TEST_F(ProcessExit, IsHarmlessToThreadsThatAreStillInsideTheLibrary) {
  for (int round = 0; round < 20; ++round) {
    ChildProgram child(ReturnsWhileThreadsUseTheClient);
    ASSERT_EQ(child.wait(), exited(0)) << "round " << round << '\n' << child.output();
    peer.remainingRecords();
  }
}

}  // namespace

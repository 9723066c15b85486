// Signals: which ones the library takes, and that nobody else can stop its thread by accident. And descriptors: none
// outlives the program that opened it.
#include <fcntl.h>
#include <signal.h>
#include <sys/syscall.h>

#include <future>

#include "event/stop_signal.h"
#include "event_mgr_access.h"
#include "event_support.h"
#include "support/child_program.h"
#include "support/signal_sets.h"

namespace {

using ::testing::IsEmpty;

std::set<int> signalsOfThread(pid_t thread, const std::string &field) {
  return signalsIn("/proc/self/task/" + std::to_string(thread) + "/status", field);
}

struct sigaction actionOf(int signal) {
  struct sigaction action {};
  sigaction(signal, nullptr, &action);
  return action;
}

class ClientSignals : public NotificationClient {
 protected:
  pid_t messageThread() {
    std::promise<pid_t> id;
    const Task task = [&] { id.set_value(gettid()); };
    EXPECT_EQ(registerItems(1, runTask, const_cast<Task *>(&task)), 0);
    peer.sendRecord(0, itemsChange(1, 1));
    const pid_t found = id.get_future().get();
    EXPECT_EQ(cancelItems(1), 0);
    callsFor({});
    return found;
  }

  // What is sent has been handled: the thread has taken up a record after it.
  void expectThreadGoesOn() {
    EXPECT_THAT(callsFor({}), IsEmpty());
    EXPECT_EQ(notifyItems(), 0);
    EXPECT_TRUE(EventMgr::running());
  }
};

TEST_F(ClientSignals, OfTheMessageThreadAreAllBlockedButTheStopSignalAndThoseOfFaults) {
  std::set<int> expected;
  for (int signal = 1; signal <= SIGRTMAX; ++signal)
    expected.insert(signal);
  for (const int open : {SIGRTMAX - 1, SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGSYS, SIGABRT})
    expected.erase(open);
  // Those nobody can block: the system's, and the two that the C library keeps for itself.
  for (const int open : {SIGKILL, SIGSTOP, 32, 33})
    expected.erase(open);
  EXPECT_EQ(signalsOfThread(messageThread(), "SigBlk:"), expected);
}

TEST(SignalsOfTheCaller, AreBlockedAfterTheStartAsTheyWereBeforeExceptForTheStopSignal) {
  sigset_t some;
  sigemptyset(&some);
  for (const int signal : {SIGTERM, SIGUSR1, SIGRTMAX - 1, SIGRTMAX})
    sigaddset(&some, signal);
  ASSERT_EQ(pthread_sigmask(SIG_SETMASK, &some, nullptr), 0);
  const ConnectedPeer peer;
  EXPECT_EQ(signalsOfThread(gettid(), "SigBlk:"), (std::set<int>{SIGTERM, SIGUSR1, SIGRTMAX}));
}

TEST_F(ClientSignals, ThatAreTakenProcessWideAreTheStopSignalAndBrokenPipes) {
  const struct sigaction stop = actionOf(SIGRTMAX - 1);
  EXPECT_TRUE(stop.sa_flags & SA_SIGINFO);
  EXPECT_FALSE(stop.sa_flags & SA_RESTART);
  for (int signal = 1; signal <= SIGRTMAX; ++signal)
    EXPECT_FALSE(sigismember(&stop.sa_mask, signal) == 1) << signal;
  EXPECT_EQ(actionOf(SIGPIPE).sa_handler, SIG_IGN);
}

TEST_F(ClientSignals, BrokenPipeIsReportedAs13) {
  EXPECT_EQ(raise(SIGPIPE), 0);
  expectThreadGoesOn();
  peer.stop();
  ASSERT_TRUE(waitUntil([] { return notifyItems() == 13; }));
}

TEST_F(ClientSignals, StopSignalOfThisProcessStopsOnlyWhenSentToTheThread) {
  const pid_t thread = messageThread();
  // To the whole process.
  ASSERT_EQ(kill(getpid(), stopSignal()), 0);
  ASSERT_EQ(sigqueue(getpid(), stopSignal(), {}), 0);
  expectThreadGoesOn();
  // To the thread, but as data, which only a process itself may send this way.
  siginfo_t info{};
  info.si_code = SI_QUEUE;
  info.si_pid = getpid();
  ASSERT_EQ(syscall(SYS_rt_tgsigqueueinfo, getpid(), thread, stopSignal(), &info), 0);
  expectThreadGoesOn();

  ASSERT_EQ(syscall(SYS_tgkill, getpid(), thread, stopSignal()), 0);
  EXPECT_TRUE(waitUntil([] { return EventMgr::exitMarkIsThere(); }));
  EXPECT_FALSE(EventMgr::running());
  EXPECT_EQ(notifyItems(), 12);
}

CHILD_PROGRAM(SendsTheStopSignalToAnotherProcess) {
  const pid_t process = std::stoi(arguments.at(0));
  const pid_t thread = std::stoi(arguments.at(1));
  EXPECT_EQ(kill(process, stopSignal()), 0);
  EXPECT_EQ(sigqueue(process, stopSignal(), {}), 0);
  EXPECT_EQ(syscall(SYS_tgkill, process, thread, stopSignal()), 0);
  return 0;
}

TEST_F(ClientSignals, StopSignalOfAnotherProcessIsIgnored) {
  const pid_t thread = messageThread();
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(run(SendsTheStopSignalToAnotherProcess, {std::to_string(getpid()), std::to_string(thread)}), exited(0));
    expectThreadGoesOn();
  }
}

TEST_F(ClientSignals, HandlerOfTheStopSignalActsOnNoOther) {
  struct sigaction action = actionOf(SIGRTMAX - 1);
  ASSERT_EQ(sigaction(SIGUSR1, &action, nullptr), 0);
  EXPECT_EQ(raise(SIGUSR1), 0);
  expectThreadGoesOn();
}

using Descriptors = NotificationClient;

TEST_F(Descriptors, AreAllClosedWhenTheProcessBecomesAnotherProgram) {
  for (const int fd : {EventMgr::socket(), EventMgr::exitPipe(0), EventMgr::exitPipe(1)}) {
    EXPECT_TRUE(fcntl(fd, F_GETFD) & FD_CLOEXEC) << fd;
  }
  peer.closeConnection(0);
  peer.waitForConnection(1);
  callsFor({}, 1);
  EXPECT_TRUE(fcntl(EventMgr::socket(), F_GETFD) & FD_CLOEXEC);
}

CHILD_PROGRAM(BecomesAProgramThatReadsItsInput) {
  execl("/bin/cat", "cat", nullptr);
  return 1;
}

TEST(ProgramThatIsExecuted, KeepsNoConnectionOpen) {
  NotificationPeer peer;
  ChildProgram child(BecomesAProgramThatReadsItsInput);
  EXPECT_EQ(peer.waitForConnection(0), child.pid());
  EXPECT_THAT(peer.waitForClose(0), IsEmpty());
  child.closeInput();
  EXPECT_EQ(child.wait(), exited(0)) << child.output();
}

}  // namespace

// Failures of the client's start, step by step.
#include <sys/wait.h>

#include <filesystem>
#include <memory>

#include "event_mgr_access.h"
#include "event_support.h"
#include "standin/stand_ins.h"

namespace {

using ::testing::ElementsAre;

std::size_t openDescriptors() {
  std::size_t count = 0;
  for ([[maybe_unused]] const auto &entry : std::filesystem::directory_iterator("/proc/self/fd"))
    ++count;
  return count;
}

class Start : public ::testing::Test {
 protected:
  // The start fails, leaves nothing open, and the next notification tries again; nothing fails any more then.
  template <class OneStandIn>
  void expectFailureAndRecovery(OneStandIn &failing) {
    const std::size_t before = openDescriptors();
    EXPECT_EQ(orv_db_retry_init(), 1);
    EXPECT_FALSE(EventMgr::running());
    EXPECT_TRUE(EventMgr::needsInit());
    EXPECT_EQ(EventMgr::socket(), -1);
    EXPECT_EQ(EventMgr::acknowledgement(), EventMgr::kLost);
    EXPECT_EQ(openDescriptors(), before);
    EXPECT_EQ(notifyItems(), 12);
    EXPECT_EQ(openDescriptors(), before);
    EXPECT_EQ(registerItems(1, f), 12);

    failing.end();
    EXPECT_EQ(notifyItems(), 0);
    EXPECT_FALSE(EventMgr::needsInit());
    EXPECT_EQ(registerItems(1, f), 0);
  }

  static void failSignalAction(int failing) {
    standIns.signalAction.play([failing](int number, const struct sigaction *action, struct sigaction *before) {
      return number == failing ? failWith(EINVAL) : __real_sigaction(number, action, before);
    });
  }

  NotificationPeer peer;
};

TEST_F(Start, FailsWhenTheStopSignalCannotBeCaught) {
  failSignalAction(SIGRTMAX - 1);
  expectFailureAndRecovery(standIns.signalAction);
}

TEST_F(Start, FailsWhenBrokenPipesCannotBeIgnored) {
  failSignalAction(SIGPIPE);
  expectFailureAndRecovery(standIns.signalAction);
}

TEST_F(Start, FailsWhenTheStopSignalCannotBeUnblocked) {
  standIns.signalMask.play([](int how, const sigset_t *set, sigset_t *before) {
    return how == SIG_UNBLOCK ? EINVAL : __real_pthread_sigmask(how, set, before);
  });
  expectFailureAndRecovery(standIns.signalMask);
}

TEST_F(Start, FailsWithoutAPipe) {
  standIns.pipe.play([](int *, int) { return failWith(EMFILE); });
  expectFailureAndRecovery(standIns.pipe);
}

TEST_F(Start, FailsWithoutASocket) {
  standIns.socket.play([](int, int, int) { return failWith(EMFILE); });
  expectFailureAndRecovery(standIns.socket);
}

TEST_F(Start, FailsWithoutAConnection) {
  standIns.connect.play([](int, const sockaddr *, socklen_t) { return failWith(ECONNREFUSED); });
  expectFailureAndRecovery(standIns.connect);
}

TEST_F(Start, FailsWithoutAThreadAndClosesTheConnection) {
  standIns.createThread.play([](pthread_t *, const pthread_attr_t *, void *(*)(void *), void *) { return EAGAIN; });
  expectFailureAndRecovery(standIns.createThread);
  EXPECT_TRUE(peer.waitForClose(0).empty());
  EXPECT_TRUE(peer.waitForClose(1).empty());
  EXPECT_FALSE(peer.isClosed(2));
}

TEST_F(Start, IsTriedOnceByEveryNotificationUntilItSucceeds) {
  const auto attempts = std::make_shared<std::atomic<int>>(0);
  standIns.connect.play([attempts](int, const sockaddr *, socklen_t) {
    ++*attempts;
    return failWith(ECONNREFUSED);
  });
  for (int expected = 1; expected <= 3; ++expected) {
    EXPECT_EQ(notifyItems(), 12);
    EXPECT_EQ(*attempts, expected);
  }
  EXPECT_EQ(registerItems(1, f), 12);
  EXPECT_EQ(cancelItems(1), 12);
  EXPECT_EQ(*attempts, 3);
  standIns.connect.end();
  EXPECT_EQ(notifyItems(), 0);
  EXPECT_EQ(notifyItems(), 0);
  EXPECT_EQ(peer.connectionCount(), 1);
}

TEST_F(Start, ConnectsABlockingStreamSocketWithTheWholeAddress) {
  struct Seen {
    int domain, type, protocol;
    std::string path;
    socklen_t length;
  };
  const auto seen = std::make_shared<Seen>();
  standIns.socket.play([seen](int domain, int type, int protocol) {
    seen->domain = domain;
    seen->type = type;
    seen->protocol = protocol;
    return failWith(EMFILE);
  });
  ASSERT_EQ(orv_db_retry_init(), 1);
  EXPECT_EQ(seen->domain, AF_UNIX);
  EXPECT_EQ(seen->type, SOCK_STREAM | SOCK_CLOEXEC);
  EXPECT_EQ(seen->protocol, 0);

  standIns.socket.end();
  standIns.connect.play([seen](int fd, const sockaddr *address, socklen_t length) {
    seen->path = address->sa_data;
    seen->length = length;
    return __real_connect(fd, address, length);
  });
  ASSERT_EQ(orv_db_retry_init(), 0);
  EXPECT_EQ(seen->path, "/tmp/orvdb_server.sock");
  EXPECT_EQ(seen->length, 110U);
}

TEST_F(Start, CreatesTheThreadWithDefaultAttributes) {
  const auto seen = std::make_shared<std::vector<const pthread_attr_t *>>();
  standIns.createThread.play(
      [seen](pthread_t *thread, const pthread_attr_t *attributes, void *(*body)(void *), void *argument) {
        seen->push_back(attributes);
        return __real_pthread_create(thread, attributes, body, argument);
      });
  ASSERT_EQ(orv_db_retry_init(), 0);
  EXPECT_THAT(*seen, ElementsAre(nullptr));
}

// The child's thread may be sent a change at once, and finds nothing that the parent registered.
TEST_F(Start, OfAChildBeginsWithAnEmptyRegistry) {
  ASSERT_EQ(orv_db_retry_init(), 0);
  ASSERT_EQ(registerItems(1, f), 0);
  standIns.createThread.play(
      [](pthread_t *thread, const pthread_attr_t *attributes, void *(*body)(void *), void *argument) {
        if (!EventMgr::registry().empty()) _exit(1);
        return __real_pthread_create(thread, attributes, body, argument);
      });
  const pid_t child = fork();
  if (child == 0) _exit(EventMgr::running() ? 0 : 2);
  int status = -1;
  waitpid(child, &status, 0);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(EventMgr::registry().size(), 1U);
}

TEST_F(Start, DoesNothingWhileTheThreadRuns) {
  ASSERT_EQ(notifyItems(), 0);
  const std::size_t before = openDescriptors();
  EXPECT_EQ(orv_db_retry_init(), 0);
  EXPECT_EQ(openDescriptors(), before);
  EXPECT_EQ(peer.connectionCount(), 1);
}

}  // namespace

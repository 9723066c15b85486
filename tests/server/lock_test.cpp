// One server per socket, however many start.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <signal.h>
#include <sys/file.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <functional>
#include <utility>

#include "server/listening_socket.h"
#include "server/other_user.h"
#include "server/server_fixture.h"
#include "support/unique_fd.h"
#include "system/lock_file.h"

// What happens between the opening of a lock file and the locking of it.
namespace {
std::function<void()> s_beforeLocking;
}

extern "C" int __real_flock(int file, int operation);
extern "C" int __wrap_flock(int file, int operation) {
  if (const auto action = std::exchange(s_beforeLocking, nullptr)) action();
  return __real_flock(file, operation);
}

namespace {

namespace fs = std::filesystem;
using testing::EndsWith;
using testing::HasSubstr;

class Lock : public ServerProgramTest {
 protected:
  std::string lockPath() const { return socketPath() + ".lock"; }

  // As a server holds it.
  UniqueFd holdLock() const {
    UniqueFd lock(open(lockPath().c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
    EXPECT_EQ(flock(lock.get(), LOCK_EX | LOCK_NB), 0);
    return lock;
  }

  void leaveDeadSocket() const { ListeningSocket dead(socketPath()); }
};

// A server that ends removes its file, which another one may have opened already.
TEST_F(Lock, IsOfTheFileThatIsThereAfterAll) {
  const auto takeItAway = [this] { fs::remove(lockPath()); };
  s_beforeLocking = takeItAway;
  const LockFile lock(lockPath());
  const UniqueFd other(open(lockPath().c_str(), O_RDWR | O_CLOEXEC));
  ASSERT_TRUE(other);
  EXPECT_EQ(flock(other.get(), LOCK_EX | LOCK_NB), -1);
}

class LockOfARunningServer : public Lock {
 protected:
  LockOfARunningServer() : server_(startOnSocket({"--resync=never"})) { waitUntilListening(server_); }

  void expectToServe(ServerClient &earlier) const {
    ServerClient later(socketPath());
    later.send(changeRecord("d", "t", 1, 7));
    EXPECT_EQ(earlier.receive(), changeRecord("d", "t", 1, 7));
  }

  Program server_;
};

// A socket of a server that was killed lies there in every round but the first.
TEST_F(Lock, OfFourStartsAtOnceExactlyOneLives) {
  constexpr int kRounds = 40;
  for (int round = 0; round < kRounds; ++round) {
    std::vector<Program> servers;
    for (int i = 0; i < 4; ++i)
      servers.push_back(startOnSocket());
    const auto countRunning = [&] {
      return std::count_if(servers.begin(), servers.end(), [](Program &server) { return server.isRunning(); });
    };
    ASSERT_TRUE(waitUntil([&] { return countRunning() <= 1; })) << "round " << round;
    for (Program &server : servers) {
      if (server.isRunning()) continue;
      EXPECT_EQ(server.waitForExit(), 1);
      EXPECT_THAT(server.output(), HasSubstr("another server is running"));
    }
    ASSERT_EQ(countRunning(), 1) << "round " << round;
    ASSERT_TRUE(waitUntil([&] {
      return std::any_of(servers.begin(), servers.end(),
                         [](Program &server) { return server.output().find("listening on") != std::string::npos; });
    }));
    ServerClient(socketPath()).registerFor("d", "t", 1);
  }
}

TEST_F(Lock, WhileItIsHeldADeadSocketIsNotTouched) {
  leaveDeadSocket();
  const UniqueFd lock = holdLock();
  Program server = startOnSocket();
  EXPECT_EQ(server.waitForExit(), 1);
  EXPECT_THAT(server.output(), HasSubstr(lockPath() + ": another server is running"));
  EXPECT_TRUE(fs::is_socket(socketPath()));
}

class LockOfAnotherUser : public Lock, public testing::WithParamInterface<uid_t> {};

TEST_P(LockOfAnotherUser, OwnerIsNamedWhileItIsHeld) {
  const UniqueFd lock = holdLock();
  Program beforeIt = startOnSocket();
  EXPECT_EQ(beforeIt.waitForExit(), 1);
  EXPECT_THAT(beforeIt.output(), EndsWith(lockPath() + ": another server is running\n"));

  ASSERT_EQ(fchown(lock.get(), GetParam(), GetParam()), 0);
  Program server = startOnSocket();
  EXPECT_EQ(server.waitForExit(), 1);
  const std::string owner = std::to_string(GetParam());
  EXPECT_THAT(server.output(),
              EndsWith(lockPath() + ": another server is running, it belongs to user " + owner + "\n"));
}

INSTANTIATE_TEST_SUITE_P(User, LockOfAnotherUser, testing::ValuesIn(otherUsers()));
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(LockOfAnotherUser);

TEST_F(Lock, IsTakenBeforeTheSocketIsAskedWhetherItAnswers) {
  ListeningSocket other(socketPath());
  {
    const UniqueFd lock = holdLock();
    EXPECT_EQ(startOnSocket().waitForExit(), 1);
    EXPECT_FALSE(other.hasCaller());
  }
  EXPECT_EQ(startOnSocket().waitForExit(), 1);
  EXPECT_TRUE(other.hasCaller());
}

TEST_F(Lock, OfADeadServerDoesNotKeepTheNextOneAway) {
  Program first = startOnSocket();
  waitUntilListening(first);
  first.signal(SIGKILL);
  EXPECT_EQ(first.waitForExit(), 128 + SIGKILL);
  ASSERT_TRUE(fs::exists(lockPath()));
  ASSERT_TRUE(fs::is_socket(socketPath()));
  Program next = startOnSocket();
  waitUntilListening(next);
  ServerClient(socketPath()).registerFor("d", "t", 1);
}

TEST_F(Lock, LinkInItsPlaceIsNotFollowed) {
  const fs::path target = folder() / "target";
  std::ofstream(target) << "precious";
  fs::create_symlink(target, lockPath());
  Program server = startOnSocket();
  EXPECT_EQ(server.waitForExit(), 1);
  EXPECT_THAT(server.output(), HasSubstr(lockPath() + ": " + std::strerror(ELOOP)));
  EXPECT_EQ(readFile(target), "precious");
  EXPECT_TRUE(fs::is_symlink(lockPath()));
}

TEST_F(LockOfARunningServer, SecondStartEndsWithStatus1AndDisturbsNobody) {
  ServerClient before(socketPath());
  before.registerFor("d", "t", 1);
  Program second = startOnSocket();
  EXPECT_EQ(second.waitForExit(), 1);
  EXPECT_THAT(second.output(), HasSubstr("another server is running"));
  expectToServe(before);
}

TEST_F(LockOfARunningServer, ServerThatStandsStillCountsAsRunning) {
  ServerClient before(socketPath());
  before.registerFor("d", "t", 1);
  server_.signal(SIGSTOP);
  EXPECT_EQ(startOnSocket().waitForExit(), 1);
  server_.signal(SIGCONT);
  expectToServe(before);
}

// Somebody has tidied up the folder.
TEST_F(LockOfARunningServer, WithoutTheFileTheSocketStillAnswersForIt) {
  ServerClient before(socketPath());
  before.registerFor("d", "t", 1);
  fs::remove(lockPath());
  Program second = startOnSocket();
  EXPECT_EQ(second.waitForExit(), 1);
  EXPECT_THAT(second.output(), HasSubstr(socketPath() + ": another server answers there"));
  EXPECT_FALSE(fs::exists(lockPath()));
  expectToServe(before);
}

TEST_F(LockOfARunningServer, IsGoneAfterACleanEnd) {
  ASSERT_TRUE(fs::exists(lockPath()));
  server_.signal(SIGTERM);
  EXPECT_EQ(server_.waitForExit(), 0);
  EXPECT_FALSE(fs::exists(lockPath()));
}

TEST_F(LockOfARunningServer, AnotherFileInItsPlaceIsLeftAtTheEnd) {
  fs::remove(lockPath());
  std::ofstream(lockPath()) << "precious";
  server_.signal(SIGTERM);
  EXPECT_EQ(server_.waitForExit(), 0);
  EXPECT_EQ(readFile(lockPath()), "precious");
}

TEST_F(LockOfARunningServer, ServersOnOtherSocketsStartBesideIt) {
  Program other = start({"--socket", folder() / "other.sock", "--status="});
  waitUntilListening(other);
  EXPECT_TRUE(server_.isRunning());
}

}  // namespace

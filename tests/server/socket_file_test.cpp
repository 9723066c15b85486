// What becomes of the file at the socket's path, before, during and after a server.
#include <gmock/gmock.h>
#include <grp.h>
#include <signal.h>
#include <sys/stat.h>

#include <fstream>
#include <thread>

#include "server/listening_socket.h"
#include "server/other_user.h"
#include "server/process_state.h"
#include "server/server_fixture.h"
#include "system/socket_file.h"

// Every call of listen() in this process: the rights that the file has at that moment.
namespace {
std::string s_watchedPath;
struct stat s_whenListening {};
}  // namespace

extern "C" int __real_listen(int socket, int backlog);
extern "C" int __wrap_listen(int socket, int backlog) {
  lstat(s_watchedPath.c_str(), &s_whenListening);
  return __real_listen(socket, backlog);
}

namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;

constexpr mode_t kRights = 07777;

struct stat statOf(const std::string &path) {
  struct stat file {};
  EXPECT_EQ(lstat(path.c_str(), &file), 0) << path;
  return file;
}

// A group other than that which a new file gets, where this process may choose one.
gid_t chosenGroup() { return geteuid() == 0 ? 12345 : getegid(); }

class SocketFileAtStart : public ServerProgramTest {
 protected:
  void expectToServe(Program &server) {
    waitUntilListening(server);
    ServerClient(socketPath()).registerFor("d", "t", 1);
  }

  void expectRefusal(Program server, const std::string &reason) {
    EXPECT_EQ(server.waitForExit(), 1);
    EXPECT_THAT(server.output(), HasSubstr(reason));
  }
};

TEST_F(SocketFileAtStart, OfADeadServerIsReplaced) {
  { ListeningSocket dead(socketPath()); }
  const ino_t before = statOf(socketPath()).st_ino;
  Program server = startOnSocket();
  expectToServe(server);
  EXPECT_NE(statOf(socketPath()).st_ino, before);
}

TEST_F(SocketFileAtStart, FileThatIsNoSocketIsRefusedAndKept) {
  std::ofstream(socketPath()) << "precious";
  expectRefusal(startOnSocket(), socketPath() + ": exists and is not a socket");
  EXPECT_EQ(readFile(socketPath()), "precious");
}

TEST_F(SocketFileAtStart, FolderIsRefusedAndKept) {
  fs::create_directory(socketPath());
  expectRefusal(startOnSocket(), socketPath() + ": exists and is not a socket");
  EXPECT_TRUE(fs::is_directory(socketPath()));
}

TEST_F(SocketFileAtStart, LinkToAFileIsNotFollowed) {
  const fs::path target = folder() / "target";
  std::ofstream(target) << "precious";
  fs::create_symlink(target, socketPath());
  expectRefusal(startOnSocket(), socketPath() + ": exists and is not a socket");
  EXPECT_TRUE(fs::is_symlink(socketPath()));
  EXPECT_EQ(readFile(target), "precious");
}

TEST_F(SocketFileAtStart, LinkToADeadSocketIsNotFollowed) {
  const fs::path target = folder() / "target";
  { ListeningSocket dead(target); }
  fs::create_symlink(target, socketPath());
  expectRefusal(startOnSocket(), socketPath() + ": exists and is not a socket");
  EXPECT_TRUE(fs::is_symlink(socketPath()));
  EXPECT_TRUE(fs::is_socket(target));
}

TEST_F(SocketFileAtStart, LinkToALiveSocketIsNotFollowed) {
  ListeningSocket target(folder() / "target");
  fs::create_symlink(folder() / "target", socketPath());
  expectRefusal(startOnSocket(), socketPath() + ": exists and is not a socket");
  EXPECT_FALSE(target.hasCaller());
}

TEST_F(SocketFileAtStart, OfAServerThatHasNoTimeToAnswerIsKept) {
  const ListeningSocket busy(socketPath());
  busy.fillQueue();
  expectRefusal(startOnSocket(), socketPath() + ": another server answers there");
  EXPECT_TRUE(fs::is_socket(socketPath()));
}

TEST_F(SocketFileAtStart, MayBeUsedByEverybodyUnlessTheModeSaysOtherwise) {
  Program server = startOnSocketThrough({"/bin/sh", "-c", "umask 077; exec \"$0\" \"$@\""});
  waitUntilListening(server);
  EXPECT_EQ(statOf(socketPath()).st_mode & kRights, 0666U);
}

TEST_F(SocketFileAtStart, HasTheModeThatIsAskedFor) {
  Program server = startOnSocketThrough({"/bin/sh", "-c", "umask 077; exec \"$0\" \"$@\""}, {"--mode=0620"});
  waitUntilListening(server);
  EXPECT_EQ(statOf(socketPath()).st_mode & kRights, 0620U);
}

TEST_F(SocketFileAtStart, HasTheGroupThatIsAskedForByNumber) {
  Program server = startOnSocket({"--group=" + std::to_string(chosenGroup())});
  waitUntilListening(server);
  EXPECT_EQ(statOf(socketPath()).st_gid, chosenGroup());
}

TEST_F(SocketFileAtStart, HasTheGroupThatIsAskedForByName) {
  const group *wanted = geteuid() == 0 ? getgrnam("daemon") : getgrgid(getegid());
  ASSERT_NE(wanted, nullptr);
  const gid_t id = wanted->gr_gid;
  Program server = startOnSocket({"--group", wanted->gr_name});
  waitUntilListening(server);
  EXPECT_EQ(statOf(socketPath()).st_gid, id);
}

TEST_F(SocketFileAtStart, RightsAreFinalBeforeAnybodyCanConnect) {
  s_watchedPath = socketPath();
  s_whenListening = {};
  const SocketFile file(socketPath(), {0640, chosenGroup()}, 1);
  EXPECT_TRUE(S_ISSOCK(s_whenListening.st_mode));
  EXPECT_EQ(s_whenListening.st_mode & kRights, 0640U);
  EXPECT_EQ(s_whenListening.st_gid, chosenGroup());
}

// --- other users -----------------------------------------------------------------------------------------------------

class SocketFileOfAnotherUser : public SocketFileAtStart, public testing::WithParamInterface<uid_t> {
 protected:
  // The server's user, who is neither root nor the owner, makes and removes files of its own here, as in /tmp.
  SocketFileOfAnotherUser() {
    fs::permissions(folder(), fs::perms::all | fs::perms::sticky_bit);
    fs::copy_file(ORVDB_SERVER_PROGRAM, program());
    fs::permissions(program(), fs::perms::owner_all | fs::perms::others_read | fs::perms::others_exec);
  }

  std::string program() const { return folder() / "orvdb_server"; }

  Program startAsUser(const std::vector<std::string> &more = {}) {
    std::vector<std::string> command = runAsUser(GetParam());
    const std::vector<std::string> own{program(), "--socket", socketPath(), "--status="};
    command.insert(command.end(), own.begin(), own.end());
    command.insert(command.end(), more.begin(), more.end());
    return {command, folder() / "output"};
  }

  void leaveDeadSocket(mode_t mode, uid_t owner) const {
    { ListeningSocket dead(socketPath()); }
    EXPECT_EQ(chmod(socketPath().c_str(), mode), 0);
    EXPECT_EQ(chown(socketPath().c_str(), owner, owner), 0);
  }
};

constexpr uid_t kOwner = 1234;

TEST_P(SocketFileOfAnotherUser, IsReplacedIfItIsTheServersOwn) {
  leaveDeadSocket(0600, GetParam());
  Program server = startAsUser();
  expectToServe(server);
}

TEST_P(SocketFileOfAnotherUser, OwnerIsNamedWhenItCannotBeRemoved) {
  leaveDeadSocket(0666, kOwner);
  expectRefusal(startAsUser(), "Operation not permitted, it belongs to user 1234");
  EXPECT_TRUE(fs::is_socket(socketPath()));
}

TEST_P(SocketFileOfAnotherUser, OwnerIsNamedWhenItCannotBeAsked) {
  leaveDeadSocket(0600, kOwner);
  expectRefusal(startAsUser(), "Permission denied, it belongs to user 1234");
  EXPECT_TRUE(fs::is_socket(socketPath()));
}

TEST_P(SocketFileOfAnotherUser, OwnerOfTheLockFileIsNamed) {
  const std::string lock = socketPath() + ".lock";
  std::ofstream(lock) << "precious";
  ASSERT_EQ(chmod(lock.c_str(), 0600), 0);
  ASSERT_EQ(chown(lock.c_str(), kOwner, kOwner), 0);
  expectRefusal(startAsUser(), lock + ": Permission denied, it belongs to user 1234");
  EXPECT_EQ(readFile(lock), "precious");
}

TEST_P(SocketFileOfAnotherUser, GroupThatTheServerMayNotGiveIsRefusedAndNoFileIsLeft) {
  expectRefusal(startAsUser({"--group=0"}), "Operation not permitted");
  EXPECT_FALSE(fs::exists(socketPath()));
  EXPECT_FALSE(fs::exists(socketPath() + ".lock"));
}

INSTANTIATE_TEST_SUITE_P(User, SocketFileOfAnotherUser, testing::ValuesIn(otherUsers()));
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(SocketFileOfAnotherUser);

// --- while the server runs -------------------------------------------------------------------------------------------

constexpr std::chrono::milliseconds kLookPause{500};  // of the server, between two looks at its file

class SocketFileOfARunningServer : public ServerTest {
 protected:
  SocketFileOfARunningServer()
      : ServerTest({"--resync=never", "--mode=0640", "--group=" + std::to_string(chosenGroup())}) {
    reader_.registerFor("d", "t", 1);
  }

  bool hasLogged(const std::string &text) const { return server_.output().find(text) != std::string::npos; }
  static void expectToHear(ServerClient &reader, ServerClient &writer, std::uint64_t row) {
    writer.send(changeRecord("d", "t", 1, row));
    EXPECT_EQ(reader.receive(), changeRecord("d", "t", 1, row));
  }

  ServerClient reader_ = connectClient();
  ServerClient writer_ = connectClient();
};

TEST_F(SocketFileOfARunningServer, IsBoundAgainWithTheSameRightsWhenItVanishes) {
  fs::remove(socketPath());
  ASSERT_TRUE(waitUntil([&] { return hasLogged(socketPath() + " had vanished and is there again"); }));
  EXPECT_EQ(statOf(socketPath()).st_mode & kRights, 0640U);
  EXPECT_EQ(statOf(socketPath()).st_gid, chosenGroup());
  expectToHear(reader_, writer_, 1);
  ServerClient late = connectClient();
  expectToHear(reader_, late, 2);
  late.registerFor("d", "t", 1);
  expectToHear(late, writer_, 3);
}

TEST_F(SocketFileOfARunningServer, IsBoundAgainEveryTime) {
  for (std::uint64_t row = 1; row <= 3; ++row) {
    fs::remove(socketPath());
    ASSERT_TRUE(waitUntil([&] { return fs::is_socket(socketPath()); }));
    ASSERT_TRUE(waitUntil([&] { return statOf(socketPath()).st_gid == chosenGroup(); }));
    ASSERT_TRUE(waitUntil([&] {
      try {
        ServerClient late = connectClient();
        expectToHear(reader_, late, row);
        return true;
      } catch (const std::system_error &) {
        return false;  // it does not listen yet
      }
    }));
  }
  server_.signal(SIGTERM);
  EXPECT_EQ(server_.waitForExit(), 0);
  EXPECT_FALSE(fs::exists(socketPath()));
}

// The server finds its file gone before it looks at who waits: its timer is ready before its socket is.
TEST_F(SocketFileOfARunningServer, WhoeverWaitsOnTheOldOneIsServed) {
  waitForRest(server_.pid());
  stopProcess(server_.pid());
  std::this_thread::sleep_for(2 * kLookPause);
  ServerClient late = connectClient();
  late.send(registerRecord("d", "t", 1, 0));
  fs::remove(socketPath());
  resumeProcess(server_.pid());
  EXPECT_EQ(late.receive(), acceptance(registerRecord("d", "t", 1, 0)));
  ASSERT_TRUE(waitUntil([&] { return hasLogged("had vanished"); }));
  expectToHear(late, writer_, 1);
}

TEST_F(SocketFileOfARunningServer, AnotherFileInItsPlaceIsLeftAloneAndLogged) {
  fs::remove(socketPath());
  std::ofstream(socketPath()) << "precious";
  ASSERT_TRUE(waitUntil([&] { return hasLogged(socketPath() + ": another file has taken its place"); }));
  expectToHear(reader_, writer_, 1);
  EXPECT_EQ(readFile(socketPath()), "precious");

  fs::remove(socketPath());
  ASSERT_TRUE(waitUntil([&] { return hasLogged("had vanished and is there again"); }));
  expectToHear(reader_, writer_, 2);
  connectClient().registerFor("d", "t", 1);
}

TEST_F(SocketFileOfARunningServer, AnotherFileInItsPlaceIsLeftAtTheEnd) {
  fs::remove(socketPath());
  std::ofstream(socketPath()) << "precious";
  ASSERT_TRUE(waitUntil([&] { return hasLogged("another file has taken its place"); }));
  server_.signal(SIGTERM);
  EXPECT_EQ(server_.waitForExit(), 0);
  EXPECT_EQ(readFile(socketPath()), "precious");
}

TEST_F(SocketFileOfARunningServer, AnotherServerInItsPlaceIsNotDisturbed) {
  fs::rename(socketPath(), folder() / "kept");  // the inode stays in use, so that its number is not given away
  ListeningSocket other(socketPath());
  ASSERT_TRUE(waitUntil([&] { return hasLogged("another file has taken its place ("); })) << server_.output();
  EXPECT_FALSE(other.hasCaller());
  server_.signal(SIGTERM);
  EXPECT_EQ(server_.waitForExit(), 0);
  EXPECT_TRUE(fs::is_socket(socketPath()));
}

TEST_F(SocketFileOfARunningServer, IsGoneAfterACleanEnd) {
  ASSERT_TRUE(fs::is_socket(socketPath()));
  server_.signal(SIGTERM);
  EXPECT_EQ(server_.waitForExit(), 0);
  EXPECT_FALSE(fs::exists(socketPath()));
}

}  // namespace

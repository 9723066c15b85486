// The server as a service of systemd: a socket that is handed over, and what the service's manager is told. The
// manager's part is played by the test.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <netinet/in.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <fstream>

#include "server/listening_socket.h"
#include "server/server_fixture.h"
#include "support/unique_fd.h"

namespace {

namespace fs = std::filesystem;
using testing::Each;
using testing::HasSubstr;
using testing::IsEmpty;

// --- the socket ------------------------------------------------------------------------------------------------------

class PassedSocket : public ServerProgramTest {
 protected:
  // A shell becomes the server, whose process id it thus knows.
  Program startWith(int descriptor, const std::string &environment = "LISTEN_PID=$$ LISTEN_FDS=1",
                    const std::vector<std::string> &more = {"--resync=never"}) {
    const std::string number = std::to_string(descriptor);
    return startOnSocketThrough(
        {"/bin/bash", "-c", "export " + environment + "; exec \"$0\" \"$@\" 3<&" + number + " " + number + "<&-"},
        more);
  }

  void expectRefusal(Program server) {
    EXPECT_EQ(server.waitForExit(), 1);
    EXPECT_THAT(server.output(), HasSubstr("systemd is to pass one listening stream socket of the Unix domain"));
    EXPECT_FALSE(fs::exists(socketPath()));
  }

  std::string passedPath() const { return folder() / "passed.sock"; }
};

// Above the descriptors that the shell opens.
UniqueFd inheritable(int descriptor) { return UniqueFd(fcntl(descriptor, F_DUPFD, 20)); }

class GoodPassedSocket : public PassedSocket {
 protected:
  ListeningSocket listening_{passedPath()};
  UniqueFd passed_ = inheritable(listening_.descriptor());
};

TEST_F(GoodPassedSocket, IsServedAndItsFileKept) {
  Program server = startWith(passed_.get());
  waitUntilListening(server);
  ServerClient reader(passedPath());
  reader.registerFor("d", "t", 1);
  ServerClient(passedPath()).send(changeRecord("d", "t", 1, 7));
  EXPECT_EQ(reader.receive(), changeRecord("d", "t", 1, 7));
  EXPECT_FALSE(fs::exists(socketPath())) << "another one beside it";
  EXPECT_FALSE(fs::exists(socketPath() + ".lock"));
  server.signal(SIGTERM);
  EXPECT_EQ(server.waitForExit(), 0);
  EXPECT_TRUE(fs::is_socket(passedPath()));
}

TEST_F(GoodPassedSocket, WhoeverCameBeforeTheServerIsServed) {
  ServerClient reader(passedPath());
  reader.send(registerRecord("d", "t", 1, 0));
  Program server = startWith(passed_.get());
  EXPECT_EQ(reader.receive(), acceptance(registerRecord("d", "t", 1, 0)));
}

TEST_F(GoodPassedSocket, ServesTheNextServer) {
  for (int i = 0; i < 2; ++i) {
    Program server = startWith(passed_.get());
    waitUntilListening(server);
    ServerClient(passedPath()).registerFor("d", "t", 1);
    server.signal(SIGTERM);
    EXPECT_EQ(server.waitForExit(), 0);
  }
}

TEST_F(GoodPassedSocket, ServerStartedByHandBesideItIsRefused) {
  Program server = startWith(passed_.get());
  waitUntilListening(server);
  Program second = start({"--socket", passedPath(), "--status="});
  EXPECT_EQ(second.waitForExit(), 1);
  EXPECT_THAT(second.output(), HasSubstr(passedPath() + ": another server answers there"));
  ServerClient(passedPath()).registerFor("d", "t", 1);
}

TEST_F(GoodPassedSocket, IsNotForAnotherProcess) {
  Program server = startWith(passed_.get(), "LISTEN_PID=1 LISTEN_FDS=1");
  waitUntilListening(server);
  ServerClient(socketPath()).registerFor("d", "t", 1);
  EXPECT_FALSE(listening_.hasCaller());
}

TEST_F(GoodPassedSocket, IsNotMeantWithoutAProcessId) {
  Program server = startWith(passed_.get(), "LISTEN_FDS=1");
  waitUntilListening(server);
  ServerClient(socketPath()).registerFor("d", "t", 1);
}

TEST_F(GoodPassedSocket, TwoAreRefused) { expectRefusal(startWith(passed_.get(), "LISTEN_PID=$$ LISTEN_FDS=2")); }

TEST_F(PassedSocket, FileIsRefused) {
  const UniqueFd file(open("/dev/null", O_RDWR | O_CLOEXEC));
  expectRefusal(startWith(inheritable(file.get()).get()));
}

TEST_F(PassedSocket, OneThatDoesNotListenIsRefused) {
  const UniqueFd idle(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  const UniqueFd passed = inheritable(idle.get());
  expectRefusal(startWith(passed.get()));
}

TEST_F(PassedSocket, OneOfPacketsIsRefused) {
  const UniqueFd packets(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0));
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  passedPath().copy(address.sun_path, sizeof address.sun_path - 1);
  ASSERT_EQ(bind(packets.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address), 0);
  ASSERT_EQ(listen(packets.get(), 1), 0);
  const UniqueFd passed = inheritable(packets.get());
  expectRefusal(startWith(passed.get()));
}

TEST_F(PassedSocket, OneOfTheNetworkIsRefused) {
  const UniqueFd network(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  ASSERT_EQ(bind(network.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address), 0);
  ASSERT_EQ(listen(network.get(), 1), 0);
  const UniqueFd passed = inheritable(network.get());
  expectRefusal(startWith(passed.get()));
}

// --- what the manager is told ----------------------------------------------------------------------------------------

class Manager {
 public:
  // A name that begins with '@' is abstract.
  explicit Manager(const std::string &name) : socket_(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    name.copy(address.sun_path, sizeof address.sun_path - 1);
    if (name[0] == '@') address.sun_path[0] = '\0';
    const auto size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + name.size());
    EXPECT_EQ(bind(socket_.get(), reinterpret_cast<const sockaddr *>(&address), size), 0);
  }

  // The next that it is told; empty if that does not come in time.
  std::string receive(std::chrono::milliseconds patience = kPatience) const {
    pollfd readable{socket_.get(), POLLIN, 0};
    if (poll(&readable, 1, static_cast<int>(patience.count())) != 1) return "";
    std::string text(1000, '\0');
    const ssize_t size = recv(socket_.get(), text.data(), text.size(), 0);
    text.resize(size > 0 ? static_cast<std::size_t>(size) : 0);
    return text;
  }

  std::vector<std::string> receiveWhatIsThere() const {
    std::vector<std::string> texts;
    for (std::string text; !(text = receive(std::chrono::milliseconds(0))).empty();)
      texts.push_back(text);
    return texts;
  }

 private:
  UniqueFd socket_;
};

class Notification : public ServerProgramTest, public testing::WithParamInterface<bool> {
 protected:
  std::string name() const { return (GetParam() ? "@" : "") + std::string(folder() / "notify"); }

  Program startUnderManager(const std::vector<std::string> &environment = {}) {
    std::vector<std::string> launcher{"/usr/bin/env", "-u",           "WATCHDOG_USEC",
                                      "-u",           "WATCHDOG_PID", "NOTIFY_SOCKET=" + name()};
    launcher.insert(launcher.end(), environment.begin(), environment.end());
    return startOnSocketThrough(launcher);
  }

  // Two looks of the server at the time, the second of which makes a line of the first one's kind.
  void waitForTicks(Program &server) const {
    for (int i = 0; i < 2; ++i) {
      fs::remove(socketPath());
      EXPECT_TRUE(waitUntil([&] { return fs::is_socket(socketPath()); })) << server.output();
    }
  }

  Manager manager_{name()};
};

TEST_P(Notification, SaysWhenTheServerServesAndWhenItEnds) {
  Program server = startUnderManager();
  ASSERT_EQ(manager_.receive(), "READY=1");
  ServerClient(socketPath()).registerFor("d", "t", 1);
  waitForTicks(server);
  EXPECT_THAT(manager_.receiveWhatIsThere(), IsEmpty()) << "nobody has asked for signs of life";
  server.signal(SIGTERM);
  EXPECT_EQ(manager_.receive(), "STOPPING=1");
  EXPECT_EQ(server.waitForExit(), 0);
}

TEST_P(Notification, IsOfItsEndWhileItStillHandsOverWhatIsQueued) {
  Program server = startUnderManager();
  ASSERT_EQ(manager_.receive(), "READY=1");
  ServerClient sleeper(socketPath());
  sleeper.registerFor("d", "t", 1);
  ServerClient writer(socketPath());
  const Bytes changes = concatenated(std::vector(5000, changeRecord("d", "t", 1, 7)));
  writer.sendBytes(changes.data(), changes.size());
  const auto begin = std::chrono::steady_clock::now();
  server.signal(SIGTERM);
  EXPECT_EQ(manager_.receive(), "STOPPING=1");
  EXPECT_EQ(server.waitForExit(), 0);
  EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::seconds(1));
}

TEST_P(Notification, IsNotOfAServerThatCannotServe) {
  std::ofstream(socketPath()) << "precious";
  EXPECT_EQ(startUnderManager().waitForExit(), 1);
  EXPECT_THAT(manager_.receiveWhatIsThere(), IsEmpty());
}

TEST_P(Notification, IsASignOfLifeNowAndThenIfAskedFor) {
  Program server = startUnderManager({"WATCHDOG_USEC=3000000"});
  ASSERT_EQ(manager_.receive(), "READY=1");
  for (int i = 0; i < 4; ++i)
    EXPECT_EQ(manager_.receive(), "WATCHDOG=1");
}

TEST_P(Notification, IsNoSignOfLifeIfAnotherProcessIsAskedForIt) {
  Program server = startUnderManager({"WATCHDOG_USEC=3000000", "WATCHDOG_PID=1"});
  ASSERT_EQ(manager_.receive(), "READY=1");
  waitForTicks(server);
  EXPECT_THAT(manager_.receiveWhatIsThere(), IsEmpty());
}

TEST_P(Notification, IsNoSignOfLifeWhileTheServerStandsStill) {
  Program server = startUnderManager({"WATCHDOG_USEC=3000000"});
  ASSERT_EQ(manager_.receive(), "READY=1");
  ASSERT_EQ(manager_.receive(), "WATCHDOG=1");
  server.signal(SIGSTOP);
  ASSERT_TRUE(waitUntil([&] { return manager_.receive(std::chrono::seconds(2)).empty(); }));
  server.signal(SIGCONT);
  EXPECT_EQ(manager_.receive(), "WATCHDOG=1");
}

INSTANTIATE_TEST_SUITE_P(Path, Notification, testing::Values(false));
INSTANTIATE_TEST_SUITE_P(AbstractName, Notification, testing::Values(true));

TEST_F(ServerProgramTest, ManagerThatDoesNotReadHoldsNobodyUp) {
  const Manager manager(folder() / "notify");
  const UniqueFd filler(socket(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  (folder() / "notify").string().copy(address.sun_path, sizeof address.sun_path - 1);
  while (sendto(filler.get(), "x", 1, 0, reinterpret_cast<const sockaddr *>(&address), sizeof address) >= 0)
    continue;
  Program server = startOnSocketThrough(
      {"/usr/bin/env", "NOTIFY_SOCKET=" + (folder() / "notify").string(), "WATCHDOG_USEC=1000000"});
  waitUntilListening(server);
  ServerClient(socketPath()).registerFor("d", "t", 1);
  server.signal(SIGTERM);
  EXPECT_EQ(server.waitForExit(), 0);
  EXPECT_THAT(manager.receiveWhatIsThere(), Each("x"));
}

}  // namespace

// A socket that systemd hands over to the server. Its part is played by the test.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/un.h>

#include "server/listening_socket.h"
#include "server/server_fixture.h"
#include "support/loopback_listener.h"
#include "support/unique_fd.h"

namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;

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
  const LoopbackListener network;
  const UniqueFd passed = inheritable(network.descriptor());
  expectRefusal(startWith(passed.get()));
}

}  // namespace

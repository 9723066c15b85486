// The server's log never holds it up, and nobody else writes lines into it.
#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <sstream>

#include "server/forked.h"
#include "server/records.h"
#include "server/server_fixture.h"

namespace {

class ServerLog : public ServerTest {};

TEST_F(ServerLog, CommandWithALineBreakWritesNoLineOfItsOwn) {
  Forked peer([this] {
    prctl(PR_SET_NAME, "x) 1\r\n\033[31m(fake");
    ServerClient client = connectClient();
    client.send(record(9, 0, "", "", 0, 0));
    client.waitForEnd();
  });
  const std::string pid = std::to_string(peer.pid());
  ASSERT_TRUE(peer.waitForEnd());
  EXPECT_TRUE(waitUntil([&] { return server_.output().find("process " + pid + " (x) 1") != std::string::npos; }));
  std::istringstream log(server_.output());
  for (std::string line; std::getline(log, line);) {
    EXPECT_EQ(line.rfind("orvdb_server: ", 0), 0U) << line;
    EXPECT_EQ(line.find_first_of("\r\033"), std::string::npos) << line;
  }
}

// --- standard error that takes nothing -------------------------------------------------------------------------------

void fill(int fd) {
  const int flags = fcntl(fd, F_GETFL);
  fcntl(fd, F_SETFL, flags | O_NONBLOCK);
  const std::string bytes(4096, '.');
  while (write(fd, bytes.data(), bytes.size()) > 0 || write(fd, bytes.data(), 1) > 0)
    continue;
  fcntl(fd, F_SETFL, flags);  // the server shall wait, if it does
}

class FullLog : public ServerProgramTest {
 protected:
  // Makes it log several lines.
  void expectServerGoesOn() const {
    ASSERT_TRUE(waitUntil([this] { return std::filesystem::is_socket(statusPath()); }));
    ServerClient reader(socketPath());
    ServerClient writer(socketPath());
    reader.registerFor("shop", "articles", kAll);
    for (int i = 0; i < 3; ++i) {
      ServerClient bad(socketPath());
      bad.send(record(9, 0, "", "", 0, 0));
      bad.waitForEnd();
    }
    writer.send(changeRecord("shop", "articles", kInsert, 1));
    EXPECT_EQ(reader.receive(), changeRecord("shop", "articles", kInsert, 1));
    EXPECT_EQ(report()["connections_cut"], 3);
  }

  // With the descriptor as its standard error, handed over as the shell's standard input.
  Program startWithError(int fd) const {
    const UniqueFd ownInput(dup(STDIN_FILENO));
    dup2(fd, STDIN_FILENO);
    Program server({"/bin/sh", "-c", "exec \"$0\" \"$@\" 2>&0 </dev/null", ORVDB_SERVER_PROGRAM, "--socket",
                    socketPath(), "--status", statusPath(), "--resync=never"},
                   socketPath() + ".output");
    dup2(ownInput.get(), STDIN_FILENO);
    return server;
  }
};

TEST_F(FullLog, PipeThatNobodyReadsDoesNotHoldTheServerUp) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  fill(ends[1]);
  Program server = startWithError(ends[1]);
  expectServerGoesOn();
  close(ends[0]);
  close(ends[1]);
}

TEST_F(FullLog, SocketThatNobodyReadsDoesNotHoldTheServerUp) {
  int ends[2];
  ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
  fill(ends[1]);
  Program server = startWithError(ends[1]);
  expectServerGoesOn();
  close(ends[0]);
  close(ends[1]);
}

// The server of the other two does log.
TEST_F(FullLog, PipeThatIsReadGetsTheLines) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  Program server = startWithError(ends[1]);
  expectServerGoesOn();
  char bytes[4096];
  const ssize_t count = read(ends[0], bytes, sizeof bytes);
  ASSERT_GT(count, 0);
  const std::string log(bytes, static_cast<std::size_t>(count));
  EXPECT_NE(log.find("it sent something that is no record"), std::string::npos) << log;
  close(ends[0]);
  close(ends[1]);
}

}  // namespace

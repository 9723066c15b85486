// How orvdb_server starts and ends.
#include <signal.h>

#include <fstream>

#include "server/server_fixture.h"

namespace {

class ServerUsage : public ServerProgramTest {};
class ServerStart : public ServerTest {};
class ServerEnd : public ServerTest, public testing::WithParamInterface<int> {};

bool contains(const std::string &text, const std::string &part) { return text.find(part) != std::string::npos; }

TEST_F(ServerUsage, HelpNamesTheOptionsAndTheDefaultSocket) {
  Program server = start({"--help"});
  EXPECT_EQ(server.waitForExit(), 0);
  EXPECT_TRUE(contains(server.output(), "--socket=PATH")) << server.output();
  EXPECT_TRUE(contains(server.output(), "/tmp/orvdb_server.sock")) << server.output();
}

TEST_F(ServerUsage, VersionIsThatOfTheProject) {
  Program server = start({"--version"});
  EXPECT_EQ(server.waitForExit(), 0);
  EXPECT_EQ(server.output(), "orvdb_server " ORVDB_VERSION "\n");
}

TEST_F(ServerUsage, UnknownOptionIsAUsageError) { EXPECT_EQ(start({"--sockets"}).waitForExit(), 2); }

TEST_F(ServerUsage, ArgumentWithoutOptionIsAUsageError) { EXPECT_EQ(start({socketPath()}).waitForExit(), 2); }

TEST_F(ServerUsage, SocketPathOf108BytesIsRefused) {
  Program server = start({"--socket", "/tmp/" + std::string(103, 'x')});
  EXPECT_EQ(server.waitForExit(), 1);
  EXPECT_TRUE(contains(server.output(), "1 to 107 bytes")) << server.output();
}

TEST_F(ServerUsage, FileThatIsNoSocketIsRefusedAndKept) {
  std::ofstream(socketPath()) << "precious";
  Program server = startOnSocket();
  EXPECT_EQ(server.waitForExit(), 1);
  EXPECT_TRUE(contains(server.output(), "is not a socket")) << server.output();
  EXPECT_EQ(readFile(socketPath()), "precious");
}

TEST_F(ServerUsage, MissingFolderIsRefused) {
  Program server = start({"--socket", socketPath() + "/no/folder"});
  EXPECT_EQ(server.waitForExit(), 1);
  EXPECT_TRUE(contains(server.output(), "No such file or directory")) << server.output();
}

TEST_F(ServerStart, SecondServerOnALiveSocketEndsAndTheFirstGoesOn) {
  ServerClient before = connectClient();
  before.registerFor("d", "t", 1);
  Program second = startOnSocket();
  EXPECT_EQ(second.waitForExit(), 1);
  EXPECT_TRUE(contains(second.output(), "another server answers")) << second.output();

  ServerClient after = connectClient();
  after.send(changeRecord("d", "t", 1, 7));
  EXPECT_EQ(before.receive(), changeRecord("d", "t", 1, 7));
}

TEST_F(ServerStart, SocketFileOfADeadServerIsTakenOver) {
  server_.signal(SIGKILL);
  EXPECT_EQ(server_.waitForExit(), 128 + SIGKILL);
  ASSERT_TRUE(std::filesystem::is_socket(socketPath()));
  Program next = startOnSocket();
  waitUntilListening(next);
  connectClient().registerFor("d", "t", 1);
}

TEST_P(ServerEnd, SignalEndsItWithStatus0AndRemovesTheSocketFile) {
  ServerClient client = connectClient();
  client.registerFor("d", "t", 1);
  server_.signal(GetParam());
  EXPECT_EQ(server_.waitForExit(), 0);
  EXPECT_FALSE(std::filesystem::exists(socketPath()));
  client.waitForEnd();
}

INSTANTIATE_TEST_SUITE_P(Signals, ServerEnd, testing::Values(SIGTERM, SIGINT));

TEST_F(ServerStart, SocketFileOfAnotherServerIsLeftAtTheEnd) {
  std::filesystem::remove(socketPath());
  Program next = startOnSocket();
  waitUntilListening(next);
  server_.signal(SIGTERM);
  EXPECT_EQ(server_.waitForExit(), 0);
  connectClient().registerFor("d", "t", 1);
}

}  // namespace

// How orvdb_server starts and ends.
#include <gmock/gmock.h>
#include <signal.h>

#include "server/server_fixture.h"
#include "support/signal_sets.h"
#include "support/wait.h"

namespace {

using testing::HasSubstr;
using Clock = std::chrono::steady_clock;

class ServerStart : public ServerProgramTest {};
class ServerSignal : public ServerTest {};
class ServerEnd : public ServerTest, public testing::WithParamInterface<int> {};

TEST_F(ServerStart, SocketPathOf107BytesIsServed) {
  const std::string path = "/tmp/" + std::string(102, 'x');
  Program server = start({"--socket", path, "--status="});
  waitUntilListening(server);
  ServerClient(path).registerFor("d", "t", 1);
}

TEST_F(ServerStart, SocketPathOf108BytesIsRefused) {
  Program server = start({"--socket", "/tmp/" + std::string(103, 'x')});
  EXPECT_EQ(server.waitForExit(), 1);
  EXPECT_THAT(server.output(), HasSubstr("1 to 107 bytes"));
}

TEST_F(ServerStart, MissingFolderIsRefused) {
  Program server = start({"--socket", socketPath() + "/no/folder"});
  EXPECT_EQ(server.waitForExit(), 1);
  EXPECT_THAT(server.output(), HasSubstr("No such file or directory"));
}

// The tests run in a view of /tmp of their own.
TEST_F(ServerStart, ListensWhereTheLibraryConnectsIfNothingElseIsSaid) {
  Program server = start({"--status="});
  waitUntilListening(server);
  ServerClient("/tmp/orvdb_server.sock").registerFor("d", "t", 1);
}

TEST_P(ServerEnd, SignalEndsItWithStatus0AndTheConnectionsWithIt) {
  ServerClient client = connectClient();
  client.registerFor("d", "t", 1);
  server_.signal(GetParam());
  EXPECT_EQ(server_.waitForExit(), 0);
  client.waitForEnd();
}

INSTANTIATE_TEST_SUITE_P(Signals, ServerEnd, testing::Values(SIGTERM, SIGINT));

TEST_F(ServerSignal, HangUpIsSurvived) {
  ServerClient reader = connectClient();
  reader.registerFor("d", "t", 1);
  server_.signal(SIGHUP);
  const std::string status = "/proc/" + std::to_string(server_.pid()) + "/status";
  ASSERT_TRUE(waitUntil([&] { return signalsIn(status, "ShdPnd:").count(SIGHUP) == 0; })) << "it was not taken";
  ServerClient writer = connectClient();
  writer.send(changeRecord("d", "t", 1, 7));
  EXPECT_EQ(reader.receive(), changeRecord("d", "t", 1, 7));
  EXPECT_TRUE(server_.isRunning());
  server_.signal(SIGTERM);
  EXPECT_EQ(server_.waitForExit(), 0);
}

// --- what is queued at the end ---------------------------------------------------------------------------------------

constexpr std::uint64_t kChanges = 5000;  // 705 kB, more than a socket holds

// One reader has taken every change, so that the server has what the other one has not read yet.
class ServerDrain : public ServerProgramTest {
 protected:
  struct Scene {
    Program server;
    ServerClient late;
  };

  Scene queueChanges() {
    Program server = startOnSocket({"--resync=never", "--queue-limit=4194304"});
    waitUntilListening(server);
    ServerClient late(socketPath());
    ServerClient prompt(socketPath());
    late.registerFor("d", "t", 1);
    prompt.registerFor("d", "t", 1);
    ServerClient writer(socketPath());
    for (std::uint64_t row = 0; row < kChanges; ++row) {
      writer.send(changeRecord("d", "t", 1, row));
      EXPECT_EQ(prompt.receive(), changeRecord("d", "t", 1, row));
    }
    return {std::move(server), std::move(late)};
  }

  static std::uint64_t readToTheEnd(ServerClient &reader) {
    for (std::uint64_t row = 0; row < kChanges; ++row) {
      try {
        EXPECT_EQ(reader.receive(), changeRecord("d", "t", 1, row));
      } catch (const std::runtime_error &) {
        return row;
      }
    }
    reader.waitForEnd();
    return kChanges;
  }
};

// On a machine that leaves this process no time, the second may pass before everything is read: then it is tried again.
TEST_F(ServerDrain, ReaderThatIsLateWithinTheSecondGetsEverything) {
  for (int attempt = 1;; ++attempt) {
    Scene scene = queueChanges();
    const auto begin = Clock::now();
    scene.server.signal(SIGTERM);
    const std::uint64_t count = readToTheEnd(scene.late);
    const auto taken = Clock::now() - begin;
    EXPECT_EQ(scene.server.waitForExit(), 0);
    if (count == kChanges) break;
    ASSERT_GE(taken, std::chrono::seconds(1)) << "ended after " << count << " changes";
    ASSERT_LT(attempt, 10) << "this machine is too slow";
  }
}

TEST_F(ServerDrain, ReaderThatNeverReadsIsWaitedForForASecondAndNoLonger) {
  Scene scene = queueChanges();
  const auto begin = Clock::now();
  scene.server.signal(SIGTERM);
  EXPECT_EQ(scene.server.waitForExit(), 0);
  EXPECT_GE(Clock::now() - begin, std::chrono::seconds(1));
  EXPECT_LT(readToTheEnd(scene.late), kChanges);
}

// What is on its way through the server at the moment of the signal.
TEST_F(ServerDrain, WhatWasWrittenBeforeTheSignalIsForwarded) {
  for (int round = 0; round < 50; ++round) {
    Program server = startOnSocket({"--resync=never"});
    waitUntilListening(server);
    ServerClient reader(socketPath());
    reader.registerFor("d", "t", 1);
    ServerClient writer(socketPath());
    writer.send(changeRecord("d", "t", 1, 7));
    server.signal(SIGTERM);
    ASSERT_EQ(reader.receive(), changeRecord("d", "t", 1, 7)) << "round " << round;
    ASSERT_EQ(server.waitForExit(), 0);
  }
}

}  // namespace

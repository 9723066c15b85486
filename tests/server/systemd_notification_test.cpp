// What the server tells the service's manager, whose part is played by the test.
#include <gmock/gmock.h>
#include <signal.h>

#include <fstream>

#include "server/process_state.h"
#include "server/server_fixture.h"
#include "server/service_manager.h"

namespace {

namespace fs = std::filesystem;
using testing::Each;
using testing::IsEmpty;

class ManagerNotification : public ServerProgramTest, public testing::WithParamInterface<bool> {
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

  ServiceManager manager_{name()};
};

TEST_P(ManagerNotification, SaysWhenTheServerServesAndWhenItEnds) {
  Program server = startUnderManager();
  ASSERT_EQ(manager_.receive(), "READY=1");
  ServerClient(socketPath()).registerFor("d", "t", 1);
  waitForTicks(server);
  EXPECT_THAT(manager_.receiveWhatIsThere(), IsEmpty()) << "nobody has asked for signs of life";
  server.signal(SIGTERM);
  EXPECT_EQ(manager_.receive(), "STOPPING=1");
  EXPECT_EQ(server.waitForExit(), 0);
}

TEST_P(ManagerNotification, IsOfItsEndWhileItStillHandsOverWhatIsQueued) {
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

TEST_P(ManagerNotification, IsNotOfAServerThatCannotServe) {
  std::ofstream(socketPath()) << "precious";
  EXPECT_EQ(startUnderManager().waitForExit(), 1);
  EXPECT_THAT(manager_.receiveWhatIsThere(), IsEmpty());
}

TEST_P(ManagerNotification, IsASignOfLifeNowAndThenIfAskedFor) {
  Program server = startUnderManager({"WATCHDOG_USEC=3000000"});
  ASSERT_EQ(manager_.receive(), "READY=1");
  for (int i = 0; i < 4; ++i)
    EXPECT_EQ(manager_.receive(), "WATCHDOG=1");
}

TEST_P(ManagerNotification, IsNoSignOfLifeIfAnotherProcessIsAskedForIt) {
  Program server = startUnderManager({"WATCHDOG_USEC=3000000", "WATCHDOG_PID=1"});
  ASSERT_EQ(manager_.receive(), "READY=1");
  waitForTicks(server);
  EXPECT_THAT(manager_.receiveWhatIsThere(), IsEmpty());
}

TEST_P(ManagerNotification, IsNoSignOfLifeWhileTheServerStandsStill) {
  Program server = startUnderManager({"WATCHDOG_USEC=3000000"});
  ASSERT_EQ(manager_.receive(), "READY=1");
  ASSERT_EQ(manager_.receive(), "WATCHDOG=1");
  server.signal(SIGSTOP);
  ASSERT_TRUE(waitUntil([&] { return manager_.receive(std::chrono::seconds(2)).empty(); }));
  server.signal(SIGCONT);
  EXPECT_EQ(manager_.receive(), "WATCHDOG=1");
}

TEST_P(ManagerNotification, IsASignOfLifeThoughThereAreNoDescriptorsLeft) {
  Program server = startUnderManager({"WATCHDOG_USEC=3000000"});
  ASSERT_EQ(manager_.receive(), "READY=1");
  ASSERT_EQ(manager_.receive(), "WATCHDOG=1");
  limitDescriptors(server.pid(), 3);
  ServerClient waiting(socketPath());
  ASSERT_TRUE(waitUntil([&] { return server.output().find("can't accept connections: ") != std::string::npos; }));
  manager_.receiveWhatIsThere();
  for (int i = 0; i < 4; ++i)
    ASSERT_EQ(manager_.receive(), "WATCHDOG=1");
  limitDescriptors(server.pid(), 1000);
  waiting.registerFor("d", "t", 1);
}

TEST_P(ManagerNotification, IsRepeatedUntilTheManagerHasRoomForIt) {
  const int filled = manager_.fill();
  ASSERT_GT(filled, 0);
  Program server = startUnderManager();
  waitUntilListening(server);
  ServerClient(socketPath()).registerFor("d", "t", 1);  // it has tried by then
  ASSERT_EQ(manager_.fill(), 0);
  for (int i = 0; i < filled; ++i)
    ASSERT_EQ(manager_.receive(), ServiceManager::kFiller);
  EXPECT_EQ(manager_.receive(), "READY=1");
  waitForTicks(server);
  EXPECT_THAT(manager_.receiveWhatIsThere(), IsEmpty()) << "once is enough";
}

TEST_P(ManagerNotification, HoldsNobodyUpWhenTheManagerDoesNotRead) {
  ASSERT_GT(manager_.fill(), 0);
  Program server = startUnderManager({"WATCHDOG_USEC=1000000"});
  waitUntilListening(server);
  ServerClient(socketPath()).registerFor("d", "t", 1);
  server.signal(SIGTERM);
  EXPECT_EQ(server.waitForExit(), 0);
  EXPECT_THAT(manager_.receiveWhatIsThere(), Each(ServiceManager::kFiller));
}

INSTANTIATE_TEST_SUITE_P(Path, ManagerNotification, testing::Values(false));
INSTANTIATE_TEST_SUITE_P(AbstractName, ManagerNotification, testing::Values(true));

}  // namespace

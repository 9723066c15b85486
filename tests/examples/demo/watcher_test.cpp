#include <signal.h>

#include "examples/demo/demo_fixture.h"

namespace {

class Watcher : public DemoTest {};
class WatcherEnd : public DemoTest, public testing::WithParamInterface<int> {};

TEST_P(WatcherEnd, SignalEndsItWithStatus0) {
  const Program server = startServer();
  Program watcher = startWatcher();
  watcher.signal(GetParam());
  EXPECT_EQ(watcher.waitForExit(), 0);
}

INSTANTIATE_TEST_SUITE_P(Signals, WatcherEnd, testing::Values(SIGTERM, SIGINT));

TEST_F(Watcher, SaysWhenNoNotificationServerRuns) {
  Program watcher({ORVDB_WATCHER_PROGRAM, db()}, "/tmp/watcher.log");
  EXPECT_EQ(watcher.waitForExit(), 1);
  EXPECT_NE(watcher.output().find("no notification server is running"), std::string::npos) << watcher.output();
}

}  // namespace

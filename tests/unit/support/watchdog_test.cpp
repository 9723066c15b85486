#include "support/watchdog.h"

#include <gmock/gmock.h>
#include <signal.h>
#include <unistd.h>

#include "support/child_program.h"

using ::testing::HasSubstr;

namespace {

constexpr std::chrono::seconds kShortPatience{3};
constexpr std::chrono::seconds kLonger{4};

CHILD_PROGRAM(StaysAtOnePlace) {
  Watchdog watchdog(kShortPatience);
  WatchedThread here(watchdog, "main");
  std::thread other([&] {
    WatchedThread there(watchdog, "other");
    there.at("loop");
    while (true)
      pause();
  });
  while (true) {
    here.at("on the move");
    usleep(1000);
  }
}

CHILD_PROGRAM(MovesOnAndRests) {
  Watchdog watchdog(kShortPatience);
  WatchedThread here(watchdog, "main");
  const auto end = std::chrono::steady_clock::now() + kLonger;
  while (std::chrono::steady_clock::now() < end) {
    here.at("on the move");
    usleep(1000);
  }
  here.at("");
  std::this_thread::sleep_for(kLonger);
  return 0;
}

}  // namespace

TEST(Watchdog, EndsTheProcessOfAThreadThatStaysAndSaysWhereAllAre) {
  ChildProgram program(StaysAtOnePlace);
  EXPECT_EQ(program.wait(), killedBy(SIGABRT));
  EXPECT_THAT(program.output(), HasSubstr("watchdog: 'other' has been at 'loop' for too long"));
  EXPECT_THAT(program.output(), HasSubstr("watchdog: 'main' at 'on the move' for "));
  EXPECT_THAT(program.output(), HasSubstr("pause"));
}

TEST(Watchdog, LeavesThoseAloneThatMoveOnOrRest) { EXPECT_EQ(run(MovesOnAndRests), exited(0)); }

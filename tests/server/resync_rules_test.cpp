// When the server tells everybody, and who counts as old, with moments and processes that the tests make up.
#include <gtest/gtest.h>

#include <chrono>
#include <vector>

#include "forwarding/resync.h"

namespace {

using namespace std::chrono_literals;

constexpr std::uint64_t kListenTicks = 5000;
constexpr Clock::time_point kStart{1'000'000s};

Resync makeResync(ResyncMode mode = ResyncMode::kAuto) { return {mode, kListenTicks, kStart}; }

Peer process(pid_t pid, std::uint64_t startTime) {
  Peer peer;
  peer.pid = pid;
  peer.startTime = startTime;
  return peer;
}

Peer youngProcess(pid_t pid = 12) { return process(pid, kListenTicks + 1); }

// --- when ------------------------------------------------------------------------------------------------------------

// The seconds after the start at which everybody is told, for one that looks at the clock each `step`.
std::vector<std::int64_t> sweeps(std::chrono::milliseconds step, std::chrono::seconds end) {
  Resync resync = makeResync();
  std::vector<std::int64_t> seconds;
  for (std::chrono::milliseconds at{0}; at <= end; at += step) {
    if (resync.takeDue(kStart + at)) seconds.push_back(std::chrono::duration_cast<std::chrono::seconds>(at).count());
  }
  return seconds;
}

TEST(ResyncSchedule, DoublesFromTwoSecondsTo2048AndEnds) {
  EXPECT_EQ(sweeps(500ms, 10'000s), (std::vector<std::int64_t>{2, 4, 8, 16, 32, 64, 128, 256, 512, 1024, 2048}));
}

TEST(ResyncSchedule, IsNotEarlyByANanosecond) {
  Resync resync = makeResync();
  for (auto second = 2s; second <= 2048s; second *= 2) {
    EXPECT_FALSE(resync.takeDue(kStart + second - 1ns)) << second.count();
    EXPECT_TRUE(resync.takeDue(kStart + second)) << second.count();
    EXPECT_FALSE(resync.takeDue(kStart + second)) << second.count();
  }
}

TEST(ResyncSchedule, SweepsThatWereMissedAreMadeUpForByOne) {
  Resync resync = makeResync();
  EXPECT_TRUE(resync.takeDue(kStart + 20s));
  EXPECT_FALSE(resync.takeDue(kStart + 31s));
  EXPECT_TRUE(resync.takeDue(kStart + 32s));
}

TEST(ResyncSchedule, RequestsOfAMomentAreAnsweredByOneSweep) {
  Resync resync = makeResync();
  resync.request();
  resync.request();
  int sweeps = 0;
  for (auto at = 0ms; at < 2s; at += 500ms)
    sweeps += resync.takeDue(kStart + at) ? 1 : 0;
  EXPECT_EQ(sweeps, 1);
}

// A client that has connected still loses what it writes until it has repeated its registrations.
TEST(ResyncSchedule, RequestIsAnsweredByTheSecondLookAtTheClock) {
  Resync resync = makeResync();
  resync.request();
  EXPECT_FALSE(resync.takeDue(kStart));
  resync.request();
  EXPECT_TRUE(resync.takeDue(kStart + 500ms));
  EXPECT_TRUE(resync.takeDue(kStart + 1s));
  EXPECT_FALSE(resync.takeDue(kStart + 1500ms));
}

TEST(ResyncSchedule, NeverMeansNeverAndAlwaysKeepsTheSchedule) {
  Resync never = makeResync(ResyncMode::kNever);
  never.request();
  EXPECT_FALSE(never.takeDue(kStart));
  EXPECT_FALSE(never.takeDue(kStart + 1s));
  EXPECT_FALSE(never.takeDue(kStart + 2048s));
  Resync always = makeResync(ResyncMode::kAlways);
  EXPECT_FALSE(always.takeDue(kStart));
  EXPECT_TRUE(always.takeDue(kStart + 2s));
}

// --- who -------------------------------------------------------------------------------------------------------------

TEST(ResyncAge, ProcessStartedBeforeTheServerListenedIsOld) {
  const Resync resync = makeResync();
  EXPECT_TRUE(resync.isOld(process(12, kListenTicks - 1)));
  EXPECT_FALSE(resync.isOld(process(12, kListenTicks + 1)));
}

// Whoever has not come again when the clients' own patience is over never will.
TEST(ResyncAge, CutsOfLongAgoMakeRoomForNewOnes) {
  constexpr int kRemembered = 10'000;
  Resync resync = makeResync();
  const Clock::time_point longAgo = Clock::now() - std::chrono::minutes(36);
  for (int pid = 1; pid <= kRemembered; ++pid)
    resync.noteCut(youngProcess(pid), longAgo);
  resync.noteCut(youngProcess(kRemembered + 1));
  EXPECT_TRUE(resync.isOld(youngProcess(kRemembered + 1)));
  EXPECT_FALSE(resync.isOld(youngProcess(kRemembered + 2)));
}

TEST(ResyncAge, ProcessStartedInTheSameTickIsOld) { EXPECT_TRUE(makeResync().isOld(process(12, kListenTicks))); }

TEST(ResyncAge, UnknownProcessIsOld) {
  EXPECT_TRUE(makeResync().isOld(process(0, kListenTicks + 1)));
  EXPECT_TRUE(makeResync().isOld(process(12, 0)));
}

TEST(ResyncAge, ProcessThatWasCutIsOldAndOthersAreNot) {
  Resync resync = makeResync();
  resync.noteCut(youngProcess(12));
  EXPECT_TRUE(resync.isOld(youngProcess(12)));
  EXPECT_FALSE(resync.isOld(youngProcess(13)));
}

TEST(ResyncAge, LaterProcessWithTheNumberOfOneThatWasCutIsYoung) {
  Resync resync = makeResync();
  resync.noteCut(process(12, kListenTicks + 1));
  EXPECT_FALSE(resync.isOld(process(12, kListenTicks + 2)));
}

TEST(ResyncAge, ProcessIsOldWhenOneOfItsNumberWasCutWhoseStartWasUnknown) {
  Resync resync = makeResync();
  resync.noteCut(process(12, 0));
  EXPECT_TRUE(resync.isOld(youngProcess(12)));
  EXPECT_FALSE(resync.isOld(youngProcess(13)));
}

TEST(ResyncAge, EverybodyIsOldOnceMoreWereCutThanAreRemembered) {
  constexpr pid_t kRemembered = 10'000;
  Resync resync = makeResync();
  for (pid_t pid = 1; pid <= kRemembered; ++pid)
    resync.noteCut(youngProcess(pid));
  EXPECT_FALSE(resync.isOld(youngProcess(kRemembered + 1)));
  resync.noteCut(youngProcess(kRemembered + 1));
  EXPECT_TRUE(resync.isOld(youngProcess(kRemembered + 1)));
  EXPECT_TRUE(resync.isOld(youngProcess(kRemembered + 2)));
}

TEST(ResyncAge, ModesAlwaysAndNeverDecideForEverybody) {
  EXPECT_TRUE(makeResync(ResyncMode::kAlways).isOld(youngProcess()));
  EXPECT_FALSE(makeResync(ResyncMode::kNever).isOld(process(12, kListenTicks - 1)));
  EXPECT_FALSE(makeResync(ResyncMode::kNever).isOld(process(0, 0)));
}

}  // namespace

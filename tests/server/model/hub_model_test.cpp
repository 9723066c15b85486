// Random histories of several clients against the model. ORVDB_MODEL_ROUNDS says how many of each kind.
#include <gtest/gtest.h>

#include <cstdlib>
#include <random>

#include "server/model/player.h"

namespace {

constexpr std::uint64_t kUsualRounds = 150;
constexpr int kMovesOfRound = 400;

std::uint64_t rounds() {
  const char *wanted = std::getenv("ORVDB_MODEL_ROUNDS");
  return wanted != nullptr ? std::strtoull(wanted, nullptr, 10) : kUsualRounds;
}

// The hub's counters at the end, so that it is seen that what a setup is for has happened.
Counters play(const World::Setup &setup, std::uint64_t seed) {
  std::mt19937_64 random(seed);
  World world(setup);
  Player player(world, [&random](std::size_t count) { return static_cast<std::size_t>(random() % count); });
  for (int i = 0; i < kMovesOfRound; ++i)
    player.move();
  world.settle();
  return world.hub().counters();
}

class HubModel : public ::testing::TestWithParam<NamedSetup> {
 protected:
  void SetUp() override {
    for (std::uint64_t seed = 1; seed <= rounds(); ++seed) {
      SCOPED_TRACE("seed " + std::to_string(seed));
      ASSERT_NO_FATAL_FAILURE(add(seed));
    }
  }

  void add(std::uint64_t seed) {
    Counters counters;
    ASSERT_NO_THROW(counters = play(GetParam().setup, seed));
    sum_.recordsIn += counters.recordsIn;
    sum_.recordsOut += counters.recordsOut;
    sum_.collapsed += counters.collapsed;
    sum_.overflows += counters.overflows;
    sum_.bad += counters.bad;
    sum_.cut += counters.cut;
    sum_.resyncs += counters.resyncs;
  }

  Counters sum_;
};

TEST_P(HubModel, EveryClientHearsWhatItRegisteredForInTime) {
  const Model::Leniency &leniency = GetParam().setup.leniency;
  EXPECT_GT(sum_.recordsIn, rounds() * 20);
  EXPECT_GT(sum_.recordsOut, rounds() * 10);
  EXPECT_GT(sum_.bad, 0U);
  const bool resyncs = GetParam().setup.resync == ResyncMode::kAlways;
  EXPECT_EQ(sum_.resyncs > 0, resyncs || GetParam().setup.limits.totalQueueBytes < 50 * kRecordSize);
  EXPECT_EQ(sum_.collapsed > 0, leniency.mayCollapse && GetParam().setup.limits.queueBytes < Limits{}.queueBytes);
  EXPECT_EQ(sum_.cut > 0, leniency.mayCut);
}

// Found by a fuzzer: there is no key of which such a client could be told. Its own changes fill what changes may take.
TEST(HubModelHistory, ClientThatGetsEverythingIsCutWhenChangesAreLost) {
  World world({{1'000'000, 10 * kRecordSize, 1, 100}, {true, true, true}, ResyncMode::kNever, 0});
  const World::Client greedy = world.connect();
  const World::Client writer = world.connect();
  world.registerFor(greedy, "t0", 7, 0);
  world.registerFor(greedy, "t1", 7, 0);
  world.settle();
  world.announce(writer, "t1", 1);
  world.settle();
  ASSERT_TRUE(world.isOpen(greedy));
  for (int i = 0; i < 20; ++i)
    world.announce(greedy, "t0", 1);
  world.announce(writer, "t1", 1);
  ASSERT_NO_THROW(world.settle());
  EXPECT_FALSE(world.isOpen(greedy));
}

// All in one pass, after the reader's turn.
TEST(HubModelHistory, ClientThatRegisteredAfterItsTurnHearsAChangeThatCameAfterThat) {
  World world(setups().front().setup);
  const World::Client reader = world.connect();
  const World::Client writer = world.connect();
  world.settle();
  world.announce(writer, "t0", 1);
  world.write(writer, 1);
  world.turn([](std::size_t) { return std::size_t{0}; },
             [&] {
               world.registerFor(reader, "t0", 1, 0);
               world.write(reader, kRecordSize);
               world.announce(writer, "t0", 1);
               world.write(writer, 2 * kRecordSize);
             });
  EXPECT_NO_THROW(world.settle());
}

INSTANTIATE_TEST_SUITE_P(, HubModel, ::testing::ValuesIn(setups()),
                         [](const auto &instance) { return std::string(instance.param.name); });

}  // namespace

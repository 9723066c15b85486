// The runner: who is measured when, and what is made of the values.
#include "frame/bench.h"

#include <benchmark/benchmark.h>
#include <gtest/gtest.h>

#include <chrono>
#include <nlohmann/json.hpp>
#include <stdexcept>

namespace {

const Subject kSubject{"work", "s", ratioAtMost(1.02), "the same by hand", {}};

// Gives the values one after the other.
Measure valuesOf(std::vector<double> values) {
  return [values, next = std::size_t{0}]() mutable { return values.at(next++); };
}

Bench trialOf(std::size_t rounds, const std::string &only = "") { return Bench("group", "", {1, rounds, only}); }

}  // namespace

TEST(Runner, BeginsPairsWithEitherSideByTurns) {
  std::string order;
  trialOf(4).compare(
      kSubject, [&](std::size_t) { order += 'A'; }, [&](std::size_t) { order += 'B'; });
  EXPECT_EQ(order, "ABBAABBA");
}

TEST(Runner, PreparesBeforeEachBlockForAsManyTimes) {
  std::string order;
  trialOf(2).compare(
      kSubject, [&](std::size_t) { order += 'A'; }, [&](std::size_t) { order += 'B'; },
      [&](std::size_t count) { order += std::to_string(count); });
  EXPECT_EQ(order, "1A1B1B1A");
}

TEST(Runner, TakesTheMedianOfThePairsRatios) {
  Bench bench = trialOf(3);
  bench.compareValues(kSubject, valuesOf({10, 40, 90}), valuesOf({10, 20, 30}));
  const Row &row = bench.rows().at(0);
  EXPECT_EQ(row.group, "group");
  EXPECT_EQ(row.pairs, 3);
  EXPECT_DOUBLE_EQ(row.library.median, 40);
  EXPECT_DOUBLE_EQ(row.reference->median, 20);
  EXPECT_DOUBLE_EQ(row.ratio->median, 2);
  EXPECT_DOUBLE_EQ(row.ratio->low, 1.5);
  EXPECT_DOUBLE_EQ(row.ratio->high, 2.5);
}

// Of five values, four are no smaller than the lower quartile, and all of their blocks lie in the time of the whole.
TEST(Runner, DividesABlocksTimeByItsCount) {
  using Clock = std::chrono::steady_clock;
  Bench bench("group", "", {0, 0, ""});
  std::size_t block = 0;
  const auto work = [&block](std::size_t count) {
    block = count;
    for (std::size_t i = 0; i < count; ++i)
      benchmark::DoNotOptimize(i);
  };
  const auto begin = Clock::now();
  bench.compare(kSubject, work, work);
  const std::chrono::duration<double> passed = Clock::now() - begin;
  const Row &row = bench.rows().at(0);
  EXPECT_EQ(row.pairs, 5);
  EXPECT_LE(4 * row.library.low * static_cast<double>(block), passed.count());
}

TEST(Runner, LeavesOutRowsThatAreNotWanted) {
  Bench bench = trialOf(1, "sert");
  bench.record({"insert", "", {}, "", {}}, 1, 1);
  bench.record({"delete", "", {}, "", {}}, 1, 1);
  bench.compareValues({"update", "", {}, "", {}}, valuesOf({}), valuesOf({}));
  ASSERT_EQ(bench.rows().size(), 1);
  EXPECT_EQ(bench.rows()[0].subject.work, "insert");
}

TEST(Runner, GivesNoRatioToNothing) {
  Bench bench = trialOf(1);
  bench.record(kSubject, 1, 0);
  EXPECT_FALSE(bench.rows().at(0).ratio);
  EXPECT_DOUBLE_EQ(bench.rows().at(0).reference->median, 0);
}

TEST(Spread, LiesBetweenNeighboursInProportion) {
  const Spread spread = spreadOf({4, 1, 3, 2});
  EXPECT_DOUBLE_EQ(spread.low, 1.75);
  EXPECT_DOUBLE_EQ(spread.median, 2.5);
  EXPECT_DOUBLE_EQ(spread.high, 3.25);
}

TEST(Spread, OfOneValueIsThatValue) {
  const Spread spread = spreadOf({7});
  EXPECT_DOUBLE_EQ(spread.low, 7);
  EXPECT_DOUBLE_EQ(spread.high, 7);
}

TEST(Spread, ThrowsWhereNothingWasMeasured) { EXPECT_THROW(spreadOf({}), std::invalid_argument); }

TEST(Row, IsTheSameAfterItWasWritten) {
  const Row row{"growth",     {"query", "B", libraryAtMost(3), "by hand", {"by rows", "rows", 10}},
                {2, 1, 3},    Spread{5, 4, 6},
                std::nullopt, 9};
  EXPECT_EQ(nlohmann::json(nlohmann::json(row).get<Row>()), nlohmann::json(row));
  EXPECT_EQ(nlohmann::json(row).dump(),
            R"({"aim":3.0,"aim_of":"library","group":"growth","library":{"high":3.0,"low":1.0,"median":2.0},"pairs":9,)"
            R"("place":{"curve":"by rows","x":10.0,"xName":"rows"},"reference":{"high":6.0,"low":4.0,"median":5.0},)"
            R"("reference_is":"by hand","unit":"B","work":"query"})");
}

// How instructions are counted, and what is made of the counts.
#include "process/instructions.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "process/callgrind.h"

namespace {

const std::vector<Work> kWorks{{"insert", "by hand", {}, {}, {}}, {"query", "call by call", {}, {}, {}}};

}  // namespace

TEST(Callgrind, CountsBetweenTheMarksAlone) {
  const std::vector<double> counts = countByCallgrind({MARKED_PROGRAM});
  ASSERT_EQ(counts.size(), 2);
  EXPECT_GT(counts[0], 1'000);
  EXPECT_LT(counts[0], 100'000);
  EXPECT_NEAR(counts[1] / counts[0], 2, 0.1);
}

TEST(Callgrind, ThrowsWhereTheProgramFails) { EXPECT_THROW(countByCallgrind({"false"}), std::runtime_error); }

TEST(Instructions, AreThoseOfOneTimeOnEachSideOfEachWork) {
  std::vector<std::string> executed;
  Bench bench("group", "", {1, 1, ""});
  countInstructions(bench, kWorks, {"program", "database"}, 10, [&](const std::vector<std::string> &command) {
    executed = command;
    return std::vector<double>{10, 20, 30, 45};
  });
  EXPECT_EQ(executed, (std::vector<std::string>{"program", "database", "10"}));
  ASSERT_EQ(bench.rows().size(), 2);
  EXPECT_EQ(bench.rows()[1].subject.work, "query");
  EXPECT_EQ(bench.rows()[1].subject.reference, "call by call");
  EXPECT_DOUBLE_EQ(bench.rows()[0].library.median, 1);
  EXPECT_DOUBLE_EQ(bench.rows()[0].reference->median, 2);
  EXPECT_DOUBLE_EQ(bench.rows()[1].library.median, 3);
  EXPECT_DOUBLE_EQ(bench.rows()[1].reference->median, 4.5);
}

TEST(Instructions, AreRefusedWhereAWorkWasNotCounted) {
  Bench bench("group", "", {1, 1, ""});
  const Counter counter = [](const std::vector<std::string> &) { return std::vector<double>{10, 20, 30}; };
  EXPECT_THROW(countInstructions(bench, kWorks, {"program"}, 10, counter), std::runtime_error);
}

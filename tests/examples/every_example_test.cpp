// What holds for every example.
#include <signal.h>
#include <stdlib.h>

#include <tuple>

#include "examples/example_fixture.h"

namespace {

struct Example {
  const char *name;
  std::string program;
  Words arguments;
  std::size_t registrations = 1;
};

std::ostream &operator<<(std::ostream &out, const Example &example) { return out << example.name; }

// Those that run until they are ended.
std::vector<Example> lastingOnes() {
  return {
      {"cached_table", ORVDB_CACHED_TABLE, {}},     {"job_queue", ORVDB_JOB_QUEUE, {"work", "one"}},
      {"first_program", ORVDB_FIRST_PROGRAM, {}},
#ifdef ORVDB_WORKER_POOL
      {"worker_pool", ORVDB_WORKER_POOL, {"2"}, 2},
#endif
#ifdef ORVDB_FROM_PYTHON
      {"from_python", ORVDB_FROM_PYTHON, {}},
#endif
  };
}

std::vector<Example> all() {
  std::vector<Example> examples = lastingOnes();
  examples.push_back({"batch_load", ORVDB_BATCH_LOAD, {"/dev/null"}});
  return examples;
}

class LastingExample : public ExampleTest, public testing::WithParamInterface<std::tuple<Example, int>> {};

TEST_P(LastingExample, EndsOnTheSignalWithStatus0AndLeavesNothingBehind) {
  const auto &[example, signal] = GetParam();
  startServer();
  Program program = start(example.program, example.arguments);
  ASSERT_TRUE(waitForRegistrations(example.registrations));
  program.signal(signal);
  EXPECT_EQ(program.waitForExit(), 0) << program.output();
  EXPECT_TRUE(waitForRegistrations(0));
  EXPECT_TRUE(waitUntil([&] { return connectionIds().empty(); }));
}

const auto nameAndSignal = [](const auto &test) {
  const auto &[example, signal] = test.param;
  return std::string(example.name) + (signal == SIGINT ? "_SIGINT" : "_SIGTERM");
};
INSTANTIATE_TEST_SUITE_P(All, LastingExample,
                         testing::Combine(testing::ValuesIn(lastingOnes()), testing::Values(SIGINT, SIGTERM)),
                         nameAndSignal);

class EveryExample : public ExampleTest, public testing::WithParamInterface<Example> {};

TEST_P(EveryExample, SaysHowItIsUsed) {
  Program program({GetParam().program}, folder() / "usage");
  EXPECT_EQ(program.waitForExit(), 2);
  EXPECT_EQ(program.output().find(std::string("Usage: ") + GetParam().name), 0U) << program.output();
}

TEST_P(EveryExample, SaysWhenItCannotOpenTheDatabase) {
  startServer();
  setenv("MYSQL_PWD", "wrong", 1);
  Program program = start(GetParam().program, GetParam().arguments);
  EXPECT_EQ(program.waitForExit(), 1);
  EXPECT_NE(program.output().find("Access denied"), std::string::npos) << program.output();
}

INSTANTIATE_TEST_SUITE_P(All, EveryExample, testing::ValuesIn(all()),
                         [](const auto &test) { return std::string(test.param.name); });

}  // namespace

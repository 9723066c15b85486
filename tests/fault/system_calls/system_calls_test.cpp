// Each system call of the notification client goes wrong in each way that it can, the first time, the second time and
// so on, until its life has none of it any more. Every life is a program of its own, from the start to the exit.
#include <unistd.h>

#include <fstream>
#include <set>

#include "exit_hooks.h"
#include "fault/system_calls/failing_calls.h"
#include "fault/system_calls/life.h"
#include "support/child_program.h"

namespace {

using ::testing::HasSubstr;

constexpr char kFallen[] = "the fault has fallen\n";
constexpr char kNotReached[] = "the fault has not been reached\n";

// The server outlives the client.
Life *s_life;
std::size_t s_descriptors;

// What the system calls of the exit do is the client's business, too.
CHILD_PROGRAM(LivesThroughAFault) {
  s_life = new Life(faults().at(std::stoul(arguments.at(0))), std::stoi(arguments.at(1)));
  s_descriptors = openDescriptors();
  s_life->live();
  beforeTheManagerEnds = watchTheExit;
  afterTheManager = [] {
    watchThisThread(false);
    say(faultHasFallen() ? kFallen : kNotReached);
    say(openDescriptors() == s_descriptors ? "nothing is open\n" : "something is open\n");
  };
  return 0;
}

class SystemCall : public ::testing::TestWithParam<std::size_t> {
 protected:
  // Whether the fault was reached.
  static bool live(int nth) {
    ChildProgram child(LivesThroughAFault, {std::to_string(GetParam()), std::to_string(nth)});
    EXPECT_EQ(child.wait(), exited(0)) << child.output();
    EXPECT_THAT(child.output(), HasSubstr("nothing is open"));
    // Its server ends a moment after it.
    EXPECT_TRUE(waitUntil([] { return access(kServerSocketPath, F_OK) != 0; }));
    return child.output().find(kNotReached) == std::string::npos;
  }
};

}  // namespace

TEST_P(SystemCall, ThatGoesWrongHasItsStatusAndTheClientGoesOn) {
  int reached = 0;
  bool again = true;
  for (int nth = 1; again && !HasFailure(); ++nth) {
    SCOPED_TRACE(nth);
    again = live(nth);
    if (again) ++reached;
  }
  EXPECT_GT(reached, 0);
  RecordProperty("occurrences", reached);
}

INSTANTIATE_TEST_SUITE_P(, SystemCall, ::testing::Range<std::size_t>(0, faults().size()),
                         [](const auto &instance) { return nameOf(faults()[instance.param]); });

TEST(SystemFunctions, ThatCanFailAreAllMadeToFail) {
  std::set<std::string> listed;
  std::ifstream file(ORVDB_SYSTEM_FUNCTIONS);
  for (std::string line; std::getline(file, line);) {
    const std::size_t colon = line.find(": ");
    if (line.substr(colon) == ": fails") listed.insert(line.substr(0, colon));
  }
  std::set<std::string> failing;
  for (const Fault &fault : faults())
    failing.insert(fault.call);
  EXPECT_EQ(failing, listed);
}

// Each allocation of each exported function fails: the first, the second and so on until the call goes through, and
// each of them once alone and once with all that follow. The call gives what its description says, nothing stays
// allocated, no lock stays held, and the next call does what it always does.
#include <gmock/gmock.h>

#include <fstream>
#include <iterator>
#include <new>
#include <set>

#include "fault/allocations/cases.h"
#include "fault/allocations/memory.h"

namespace {

using ::testing::IsEmpty;

class MemoryShortage : public DatabaseTest, public ::testing::WithParamInterface<std::size_t> {
 protected:
  const Case &tested() const { return allCases()[GetParam()]; }

  // Returns the number of allocations that could fail.
  int failEachAllocation(Shortage::Length length) {
    for (int nth = 1;; ++nth) {
      SCOPED_TRACE(nth);
      const bool failed = callWithout(nth, length);
      if (HasFailure() || !failed) return nth - 1;
      callAsEver();
    }
  }

  // What is made once is there from then on.
  void warmUp() {
    tested().prepare(world_);
    tested().call(world_);
    release();
  }

  void callAsEver() { EXPECT_FALSE(callWithout(0, Shortage::once)); }

  void release() {
    tested().release(world_);
    world_.emptyPools();
    World::forgetClosedHandles();
  }

  bool failedOnce() const { return failed_; }
  bool succeededOnce() const { return succeeded_; }

 private:
  // Whether an allocation has failed; none does for 0.
  bool callWithout(int nth, Shortage::Length length) {
    const long before = liveAllocations();
    tested().prepare(world_);
    world_.peer().remainingRecords();
    bool happened = false;
    const int outcome = callWithout(nth, length, happened);
    expectNoLockHeld();
    expectDefined(outcome, happened);
    release();
    EXPECT_EQ(liveAllocations(), before);
    return happened;
  }

  int callWithout(int nth, Shortage::Length length, bool &happened) {
    const Shortage shortage(nth, length);
    int outcome = kException;
    try {
      outcome = tested().call(world_);
    } catch (const std::bad_alloc &) {
    }
    happened = shortage.happened();
    return outcome;
  }

  // The message thread may have one for a moment.
  void expectNoLockHeld() {
    std::vector<std::string> held;
    const bool allFree = waitUntil([&] { return (held = world_.heldLocks()).empty(); });
    EXPECT_TRUE(allFree) << ::testing::PrintToString(held);
  }

  // Nothing has been done, or everything; what was done may go unannounced.
  void expectDefined(int outcome, bool happened) {
    const bool succeeded = outcome == tested().usual;
    const std::size_t announced = world_.peer().remainingRecords().size();
    EXPECT_TRUE(!tested().isDone || tested().isDone(world_) == succeeded) << outcome;
    if (!happened) {
      EXPECT_EQ(outcome, tested().usual);
      EXPECT_EQ(announced, tested().announces);
      return;
    }
    (succeeded ? succeeded_ : failed_) = true;
    EXPECT_TRUE(succeeded || outcome == failure()) << outcome;
    EXPECT_LE(announced, succeeded ? tested().announces : 0);
  }

  int failure() const {
    switch (tested().defined) {
      case Case::nullPointer:
        return kNull;
      case Case::badAlloc:
        return kException;
      case Case::status4:
      case Case::status4UntilItIsDone:
        return ORV_DB_NO_MEMORY;
      default:
        return tested().usual;  // it has none
    }
  }

  World world_{*this};
  bool failed_ = false;
  bool succeeded_ = false;
};

}  // namespace

const std::vector<Case> &allCases() {
  static const std::vector<Case> all = [] {
    std::vector<Case> cases;
    for (const auto &family : {connectionCases, contentCases, notificationCases, resultCases, writeCases}) {
      const std::vector<Case> some = family();
      cases.insert(cases.end(), some.begin(), some.end());
    }
    return cases;
  }();
  return all;
}

TEST_P(MemoryShortage, HasItsDefinedResultAndLeavesNothingBehind) {
  warmUp();
  for (const Shortage::Length length : {Shortage::once, Shortage::forGood}) {
    SCOPED_TRACE(length == Shortage::once ? "once" : "for good");
    const int allocations = failEachAllocation(length);
    EXPECT_EQ(allocations == 0, tested().defined == Case::needsNoMemory) << allocations;
  }
  using Kinds = std::set<Case::Defined>;
  EXPECT_EQ(
      failedOnce(),
      Kinds({Case::status4, Case::nullPointer, Case::badAlloc, Case::status4UntilItIsDone}).count(tested().defined) ==
          1);
  EXPECT_EQ(succeededOnce(), Kinds({Case::status4UntilItIsDone, Case::successAnyway}).count(tested().defined) == 1);
}

INSTANTIATE_TEST_SUITE_P(, MemoryShortage, ::testing::Range<std::size_t>(0, allCases().size()),
                         [](const auto &instance) {
                           const Case &one = allCases()[instance.param];
                           return std::string(one.function) + one.variant;
                         });

TEST(MemoryShortageOfEachFunction, HasACase) {
  std::ifstream file(ORVDB_EXPORTED_FUNCTIONS);
  const std::set<std::string> exported{std::istream_iterator<std::string>(file), {}};
  std::set<std::string> covered;
  for (const Case &one : allCases())
    covered.insert(one.function);
  EXPECT_EQ(covered, exported);
  EXPECT_EQ(covered.size(), 56U);
}

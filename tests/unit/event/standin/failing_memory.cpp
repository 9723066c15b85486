// Which allocations fail.
#include <cstdlib>

#include "standin/stand_ins.h"
#include "support/failing_new.h"

namespace {

constexpr int kNever = -1;

thread_local int untilFailure = kNever;

// The main thread's first allocations are those of the library, which is loaded before everything else.
bool loading = true;

void countAllocationsWhileLoading() {
  loading = false;
  const char *number = std::getenv(kFailAllocationAtLoad);
  if (number != nullptr) untilFailure = std::atoi(number);
}

}  // namespace

void failAllocation(int others) { untilFailure = others; }

bool allocationHasFailed() {
  const bool failed = untilFailure == kNever;
  untilFailure = kNever;
  return failed;
}

bool allocationFails() noexcept {
  if (loading) countAllocationsWhileLoading();
  return untilFailure != kNever && untilFailure-- == 0;
}

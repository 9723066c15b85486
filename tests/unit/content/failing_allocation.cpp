#include "failing_allocation.h"

#include "support/failing_new.h"

namespace {

constexpr int kNoLimit = -1;
thread_local int t_allocationsLeft = kNoLimit;

}  // namespace

void grantAllocations(int count) { t_allocationsLeft = count; }
void grantAllAllocations() { t_allocationsLeft = kNoLimit; }

bool allocationFails() noexcept {
  if (t_allocationsLeft == 0) return true;
  if (t_allocationsLeft > 0) --t_allocationsLeft;
  return false;
}

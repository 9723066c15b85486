// The locks that the fork handlers take, called here without a fork.
#include <gtest/gtest.h>

#include <thread>

#include "core/locks.h"
#include "seams.h"
#include "support/wait.h"

namespace {

// The process-wide locks as one kind, in their order.
struct AnyLock {
  bool (*tryLock)();
  void (*unlock)();
};

template <auto &lock>
constexpr AnyLock anyLock() {
  return {[] { return lock->tryLock(); }, [] { lock->unlock(); }};
}

constexpr AnyLock kLocks[] = {anyLock<s_pOpenMutex>(), anyLock<s_pConnInfoLock>(), anyLock<s_pRawSetPoolMutex>(),
                              anyLock<s_pStmtSetPoolMutex>(), anyLock<s_pLogMutex>()};
constexpr std::size_t kCount = std::size(kLocks);

bool isFree(std::size_t number) {
  if (!kLocks[number].tryLock()) return false;
  kLocks[number].unlock();
  return true;
}

}  // namespace

TEST(ForkHandlers, HoldEveryLockFromPrepareOnUntilTheParentGoesOn) {
  for (std::size_t i = 0; i < kCount; ++i)
    EXPECT_TRUE(isFree(i)) << i;
  forkHandlers().prepare();
  for (std::size_t i = 0; i < kCount; ++i)
    EXPECT_FALSE(isFree(i)) << i;
  forkHandlers().parent();
  for (std::size_t i = 0; i < kCount; ++i)
    EXPECT_TRUE(isFree(i)) << i;
}

// While a lock is held by somebody, those before it are taken already and those behind it are not yet.
TEST(ForkHandlers, TakeTheLocksInTheirOrder) {
  for (std::size_t held = 1; held < kCount; ++held) {
    ASSERT_TRUE(kLocks[held].tryLock());
    std::thread forking([] {
      forkHandlers().prepare();
      forkHandlers().parent();
    });
    EXPECT_TRUE(waitUntil([&] { return !isFree(held - 1); }));
    for (std::size_t i = 0; i < held; ++i)
      EXPECT_FALSE(isFree(i)) << i << " while waiting for " << held;
    for (std::size_t i = held + 1; i < kCount; ++i)
      EXPECT_TRUE(isFree(i)) << i << " while waiting for " << held;
    kLocks[held].unlock();
    forking.join();
  }
}

TEST(ForkHandlers, WaitForWhoeverReadsTheRegistry) {
  s_pConnInfoLock->lockShared();
  std::thread forking([] {
    forkHandlers().prepare();
    forkHandlers().parent();
  });
  EXPECT_TRUE(waitUntil([] { return !isFree(0); }));
  EXPECT_TRUE(isFree(2));
  s_pConnInfoLock->unlock();
  forking.join();
}

// The pools of result sets: five slots and the heap behind them.
#include "query/set_pool.h"

#include <gtest/gtest.h>

#include <set>
#include <thread>
#include <vector>

#include "query/raw_set.h"
#include "query/stmt_set.h"

namespace {

constexpr unsigned char kNoSlot = 255;
constexpr int kSlots = 5;

struct Pool {
  const char *name;
  ResultSetInfo *(*take)();
};
void PrintTo(const Pool &pool, std::ostream *out) { *out << pool.name; }

class SetPool : public testing::TestWithParam<Pool> {
 public:
  ~SetPool() override {
    for (ResultSetInfo *set : taken_)
      orv_db_free_result(set);
  }

 protected:
  ResultSetInfo *take() { return taken_.emplace_back(GetParam().take()); }
  void giveBack(std::size_t position) {
    orv_db_free_result(taken_.at(position));
    taken_.erase(taken_.begin() + static_cast<std::ptrdiff_t>(position));
  }

 private:
  std::vector<ResultSetInfo *> taken_;
};

INSTANTIATE_TEST_SUITE_P(Of, SetPool,
                         testing::Values(Pool{"Raw", [] { return static_cast<ResultSetInfo *>(allocRawSetInfo()); }},
                                         Pool{"Statement",
                                              [] { return static_cast<ResultSetInfo *>(allocStmtSetInfo()); }}),
                         [](const auto &tested) { return tested.param.name; });

TEST_P(SetPool, GivesItsSlotsInOrderAndThenSetsFromTheHeap) {
  for (int slot = 0; slot < kSlots; ++slot)
    EXPECT_EQ(take()->m_poolSlot, slot);
  EXPECT_EQ(take()->m_poolSlot, kNoSlot);
  EXPECT_EQ(take()->m_poolSlot, kNoSlot);
}

TEST_P(SetPool, GivesSixDifferentSets) {
  std::set<ResultSetInfo *> sets;
  for (int i = 0; i <= kSlots; ++i)
    sets.insert(take());
  EXPECT_EQ(sets.size(), 6U);
}

TEST_P(SetPool, GivesTheLowestFreeSlotFirst) {
  std::vector<ResultSetInfo *> slots;
  for (int slot = 0; slot < kSlots; ++slot)
    slots.push_back(take());
  giveBack(3);
  giveBack(1);
  ResultSetInfo *again = take();
  EXPECT_EQ(again->m_poolSlot, 1);
  EXPECT_EQ(again, slots[1]);
  EXPECT_EQ(take(), slots[3]);
  EXPECT_EQ(take()->m_poolSlot, kNoSlot);
}

TEST_P(SetPool, TakesNothingFromTheHeapBackIntoTheSlots) {
  for (int i = 0; i <= kSlots; ++i)
    take();
  giveBack(5);
  EXPECT_EQ(take()->m_poolSlot, kNoSlot);
}

TEST_P(SetPool, MarksASlotFreeWhenItIsGivenBack) {
  ResultSetInfo *set = take();
  EXPECT_EQ(set->m_poolSlot, 0);
  giveBack(0);
  EXPECT_EQ(set->m_poolSlot, kNoSlot);
}

TEST_P(SetPool, SurvivesASecondReleaseOfASlot) {
  ResultSetInfo *slot = take();
  ResultSetInfo *other = take();
  giveBack(0);
  orv_db_free_result(slot);
  orv_db_free_result(slot);
  EXPECT_EQ(other->m_poolSlot, 1);
  EXPECT_EQ(take(), slot);
  EXPECT_EQ(slot->m_poolSlot, 0);
  EXPECT_EQ(take()->m_poolSlot, 2);
}

TEST_P(SetPool, NeverGivesOneSetToTwoThreads) {
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([take = GetParam().take] {
      for (int round = 0; round < 500; ++round) {
        std::set<ResultSetInfo *> mine;
        for (int sets = 0; sets < 3; ++sets)
          mine.insert(take());
        EXPECT_EQ(mine.size(), 3U);
        // A set that another thread has too is freed twice or read while it is being emptied.
        for (ResultSetInfo *set : mine) {
          EXPECT_EQ(set->step(), 1U);
          orv_db_free_result(set);
        }
      }
    });
  }
  for (std::thread &thread : threads)
    thread.join();
  for (int slot = 0; slot < kSlots; ++slot)
    EXPECT_EQ(take()->m_poolSlot, slot);
}

TEST(SetPools, AreOneForEachKind) {
  std::vector<ResultSetInfo *> taken;
  for (int slot = 0; slot < kSlots; ++slot) {
    taken.push_back(allocRawSetInfo());
    taken.push_back(allocStmtSetInfo());
  }
  for (int i = 0; i < 2 * kSlots; ++i)
    EXPECT_EQ(taken[static_cast<std::size_t>(i)]->m_poolSlot, i / 2);
  for (ResultSetInfo *set : taken)
    orv_db_free_result(set);
}

TEST(SetPools, IgnoreNull) {
  freeRawSetInfo(nullptr);
  freeStmtSetInfo(nullptr);
  ResultSetInfo *set = allocRawSetInfo();
  EXPECT_EQ(set->m_poolSlot, 0);
  orv_db_free_result(set);
}

// A set that tells what its pool does with it.
struct WatchedSet {
  ~WatchedSet() { ++destroyed; }
  void free() {
    ++freed;
    lockWasHeld = !poolLock->tryLock();
    if (!lockWasHeld) poolLock->unlock();
  }

  unsigned char m_poolSlot = kNoSlot;

  inline static int destroyed;
  inline static int freed;
  inline static bool lockWasHeld;
  inline static mutex *poolLock;
};

class WatchedPool : public testing::Test {
 public:
  WatchedPool() : lock_(mutex::create()) {
    WatchedSet::poolLock = lock_;
    WatchedSet::destroyed = 0;
    WatchedSet::freed = 0;
  }
  ~WatchedPool() override { delete lock_; }

 protected:
  void takeAllSlots() {
    for (int slot = 0; slot < kSlots; ++slot)
      pool_.take();
  }

  mutex *lock_;
  set_pool<WatchedSet> pool_{lock_};
};

TEST_F(WatchedPool, EmptiesASlotUnderItsLock) {
  WatchedSet *slot = pool_.take();
  pool_.giveBack(slot);
  EXPECT_EQ(WatchedSet::freed, 1);
  EXPECT_TRUE(WatchedSet::lockWasHeld);
  EXPECT_EQ(WatchedSet::destroyed, 0);
  EXPECT_TRUE(lock_->tryLock());
  lock_->unlock();
}

TEST_F(WatchedPool, DestroysASetFromTheHeap) {
  takeAllSlots();
  pool_.giveBack(pool_.take());
  EXPECT_EQ(WatchedSet::destroyed, 1);
}

TEST_F(WatchedPool, NeverDestroysAFreeSlot) {
  WatchedSet *slot = pool_.take();
  pool_.giveBack(slot);
  pool_.giveBack(slot);
  EXPECT_EQ(WatchedSet::freed, 1);
  EXPECT_EQ(WatchedSet::destroyed, 0);
}

TEST_F(WatchedPool, EmptiesAtExitWhatTheExitingThreadHasTaken) {
  pool_.take();
  pool_.take();
  pool_.emptyAtExit();
  EXPECT_EQ(WatchedSet::freed, 2);
  EXPECT_EQ(pool_.take()->m_poolSlot, 0);
}

TEST_F(WatchedPool, LeavesAtExitWhatOtherThreadsMayBeReading) {
  std::thread([this] { pool_.take(); }).join();
  pool_.take();
  pool_.emptyAtExit();
  EXPECT_EQ(WatchedSet::freed, 1);
  EXPECT_EQ(pool_.take()->m_poolSlot, 1);
}

TEST_F(WatchedPool, DoesNotWaitAtExitForALockThatIsHeld) {
  pool_.take();
  lock_->lock();
  pool_.emptyAtExit();
  lock_->unlock();
  EXPECT_EQ(WatchedSet::freed, 0);
}

}  // namespace

// The library around fork().
#include <gmock/gmock.h>
#include <pthread.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <thread>

#include "child_name.h"
#include "core/locks.h"
#include "core/log.h"
#include "in_child.h"
#include "support/system_log.h"
#include "writing_test.h"

namespace {

template <class Lock>
bool isFree(Lock *lock) {
  if (!lock->tryLock()) return false;
  lock->unlock();
  return true;
}

bool allLocksAreFree() {
  return isFree(s_pOpenMutex) && isFree(s_pConnInfoLock) && isFree(s_pRawSetPoolMutex) && isFree(s_pStmtSetPoolMutex) &&
         isFree(s_pLogMutex);
}

struct LockAddresses {
  const void *open = s_pOpenMutex;
  const void *connections = s_pConnInfoLock;
  const void *rawSets = s_pRawSetPoolMutex;
  const void *stmtSets = s_pStmtSetPoolMutex;
  const void *log = s_pLogMutex;
};

// Opens a handle of its own and writes with it.
int openAndInsert(const std::string &db, const char *table) {
  const Handle handle = openHandle(db);
  if (!handle) return 1;
  return insertRow(handle, table, 1) == 0 ? 0 : 2;
}

class LibraryFork : public WritingTest {
 protected:
  std::string name_ = db();
};

// On a thread that holds no memory, as one of std::thread does: children would lose it.
void *logUntil(void *enough) {
  while (!*static_cast<std::atomic<bool> *>(enough))
    db_api_log("of a thread");
  return nullptr;
}

// Threads that log without end, and children that log one line each.
CHILD_PROGRAM(LogsFromThreadsAndChildren) {
  std::atomic<bool> enough{false};
  std::array<pthread_t, 3> threads{};
  for (pthread_t &thread : threads)
    EXPECT_EQ(pthread_create(&thread, nullptr, logUntil, &enough), 0);
  for (int i = 0; i < 50; ++i) {
    const auto child = [] {
      db_api_log("of a child");
      return 0;
    };
    EXPECT_EQ(inChild(child), exited(0));
  }
  enough = true;
  for (const pthread_t thread : threads)
    pthread_join(thread, nullptr);
  db_api_log("the end");
  return 0;
}

}  // namespace

TEST_F(LibraryFork, GivesTheChildFreshLocks) {
  const LockAddresses parents;
  const auto child = [&parents] {
    const LockAddresses own;
    const bool fresh = own.open != parents.open && own.connections != parents.connections &&
                       own.rawSets != parents.rawSets && own.stmtSets != parents.stmtSets && own.log != parents.log;
    return fresh && allLocksAreFree() ? 0 : 1;
  };
  EXPECT_EQ(inChild(child), exited(0));
}

TEST_F(LibraryFork, LeavesTheParentItsLocksAndReleasesThem) {
  const LockAddresses before;
  EXPECT_EQ(inChild([] { return 0; }), exited(0));
  const LockAddresses after;
  EXPECT_EQ(after.open, before.open);
  EXPECT_EQ(after.connections, before.connections);
  EXPECT_EQ(after.rawSets, before.rawSets);
  EXPECT_EQ(after.stmtSets, before.stmtSets);
  EXPECT_EQ(after.log, before.log);
  EXPECT_TRUE(allLocksAreFree());
}

TEST_F(LibraryFork, LetsTheChildOpenAtOnceAlthoughAnotherThreadHeldTheRegistry) {
  std::atomic<bool> held{false};
  std::atomic<bool> isForked{false};
  std::thread other([&] {
    {
      const write_guard holding(s_pConnInfoLock);
      held = true;
      // Only a fork under way has taken this one.
      EXPECT_TRUE(waitUntil([] { return !isFree(s_pOpenMutex); }));
    }
    // A thread that ends during a fork may leave a lock of the emulator or of a sanitizer held in the child.
    EXPECT_TRUE(waitUntil([&] { return isForked.load(); }));
  });
  EXPECT_TRUE(waitUntil([&] { return held.load(); }));
  const pid_t child = startChild([this] { return openAndInsert(name_, "t"); });
  isForked = true;
  EXPECT_EQ(waitFor(child), exited(0));
  other.join();
  EXPECT_EQ(rowCount("t"), "1");
}

TEST_F(LibraryFork, GivesTheChildItsOwnConnectionToTheNotificationServer) {
  EXPECT_EQ(inChild([this] { return openAndInsert(name_, "t"); }), exited(0));
  EXPECT_EQ(insertRow(handle_, "u", 1), 0);
  const PeerRecord childs{1, changeRecord(name_, "t", ORV_DB_ACTION_INSERT, 1)};
  EXPECT_THAT(peer_.remainingRecords(), testing::UnorderedElementsAre(childs, announced("u", ORV_DB_ACTION_INSERT, 1)));
  EXPECT_EQ(peer_.connectionCount(), 2);
}

TEST_F(LibraryFork, WithoutAServerLetsTheChildConnectAtItsFirstAnnouncement) {
  peer_.stopListening();
  int ends[2];
  char step = 0;
  ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
  const UniqueFd parents(ends[0]);
  UniqueFd childs(ends[1]);
  const pid_t child = startChild([&] {
    if (orv_db_notify_change("d", "t", ORV_DB_ACTION_INSERT, 1) != ORV_DB_GONE) return 1;
    if (write(childs.get(), &step, 1) != 1 || read(childs.get(), &step, 1) != 1) return 2;
    return orv_db_notify_change("d", "t", ORV_DB_ACTION_INSERT, 2);
  });
  childs.reset();
  ASSERT_EQ(read(parents.get(), &step, 1), 1) << waitFor(child);
  peer_.restart();
  ASSERT_EQ(write(parents.get(), &step, 1), 1);
  EXPECT_EQ(waitFor(child), exited(0));
  const std::vector<PeerRecord> records = peer_.remainingRecords();
  ASSERT_EQ(records.size(), 1U);
  EXPECT_EQ(records[0].bytes, changeRecord("d", "t", ORV_DB_ACTION_INSERT, 2));
}

// The sanitizers' allocators do not survive a fork beside threads that allocate memory: the child would wait for ever.
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
TEST_F(LibraryFork, WorksAtAnyMomentOfOtherThreadsWork) {
  std::atomic<bool> enough{false};
  std::vector<std::thread> threads;
  threads.emplace_back([&] {
    while (!enough)
      EXPECT_TRUE(openHandle(name_)) << orv_db_get_error_str();
  });
  threads.emplace_back([&] {
    while (!enough)
      EXPECT_EQ(insertRow(handle_, "t", 1), 0);
  });
  threads.emplace_back([&] {
    const Handle handle = openHandle(name_);
    while (!enough)
      EXPECT_EQ(rawValue(handle, "SELECT 1"), "1");
  });
  for (int i = 0; i < 20; ++i)
    EXPECT_EQ(inChild([this] { return openAndInsert(name_, "u"); }), exited(0));
  enough = true;
  for (std::thread &thread : threads)
    thread.join();
  EXPECT_EQ(rowCount("u"), "20");
}
#endif

TEST(ForkOfALoggingProcess, LeavesTheChildAbleToLog) {
  SystemLog log;
  ChildProgram program(LogsFromThreadsAndChildren, {}, named("QZ_x"));
  log.waitForLine("the end");
  EXPECT_EQ(program.wait(), exited(0)) << program.output();
  const std::vector<std::string> texts = log.texts();
  EXPECT_EQ(std::count(texts.begin(), texts.end(), "[DBAPI] of a child"), 50);
}

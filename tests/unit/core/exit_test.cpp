// Threads that are still inside the shared library while the process exits.
#include <atomic>
#include <cstdlib>
#include <thread>

#include "support/child_program.h"
#include "support/count.h"
#include "writing_test.h"

namespace {

constexpr int kThreads = 8;
// One for each handle, so that no connection waits for another's rows.
constexpr const char *kTables[] = {"a", "b", "c", "d"};

#if defined(__SANITIZE_THREAD__)
constexpr int kRounds = 5;  // each takes long, and what the others look for is a crash
#else
constexpr int kRounds = 50;
#endif

// ThreadSanitizer would wait a second for races at each exit, and AddressSanitizer would miss what threads still use.
ChildProgram::Setting endingAtOnce() {
  const char *options = std::getenv("TSAN_OPTIONS");
  ChildProgram::Setting setting;
  setting.environment = {std::string("TSAN_OPTIONS=") + (options != nullptr ? options : "") + ":atexit_sleep_ms=0",
                         "ASAN_OPTIONS=detect_leaks=0"};
  return setting;
}

std::atomic<int> s_working{0};

// Writes in every way, two threads with one handle, and reads. A thread is at work once it has written a row.
void workForEver(const Handle &handle, const char *table) {
  for (bool first = true;; first = false) {
    const bool hasWritten = insertRow(handle, table, 1) == ORV_DB_OK;
    updateRows(handle, table, 2, "value = 1");
    orv_db_begin_transaction(handle.get());
    deleteRows(handle, table, "value = 2");
    orv_db_commit_transaction(handle.get());
    ResultSetInfo *rows = nullptr;
    rawQuery(handle, "SELECT 1", &rows);
    orv_db_free_result(rows);
    const Handle other = openHandle("");
    orv_db_test_connection(other.get());
    if (first && hasWritten) ++s_working;
  }
}

// Returns from main while all threads are at work. What they use lives for ever.
CHILD_PROGRAM(EndsWhileThreadsWork) {
  auto *handles = new std::vector<Handle>;
  for (int i = 0; i < kThreads / 2; ++i) {
    handles->push_back(openHandle(arguments.at(0)));
    if (!handles->back()) return 2;
  }
  for (int i = 0; i < kThreads; ++i) {
    const Handle &handle = handles->at(static_cast<std::size_t>(i / 2));
    std::thread([&handle, i] { workForEver(handle, kTables[i / 2]); }).detach();
  }
  return waitUntil([] { return s_working == kThreads; }) ? 0 : 3;
}

// In parts, for a run on several processors.
class ThreadsAtExit : public DatabaseTest, public testing::WithParamInterface<int> {
 protected:
  ThreadsAtExit() {
    for (const char *table : kTables)
      createTable(admin(), table);
  }

  NotificationPeer peer_;
};

}  // namespace

TEST_P(ThreadsAtExit, DoNotCrashTheProcess) {
  const int rounds = countFromEnvironment("ORVDB_EXITS", kRounds);
  for (int round = 0; round < rounds; ++round) {
    ChildProgram child(EndsWhileThreadsWork, {db()}, endingAtOnce());
    ASSERT_EQ(child.wait(), exited(0)) << round << child.output();
  }
}

INSTANTIATE_TEST_SUITE_P(Part, ThreadsAtExit, testing::Range(1, 5));

// Several threads that write through one handle.
#include <algorithm>
#include <atomic>
#include <functional>
#include <set>
#include <thread>

#include "client_calls.h"
#include "content_test.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

constexpr int kThreads = 6;
constexpr int kRounds = 60;

void runOnSixThreads(const std::function<void(int thread)> &body) {
  std::vector<std::thread> threads;
  threads.reserve(kThreads);
  for (int thread = 0; thread < kThreads; ++thread)
    threads.emplace_back(body, thread);
  for (std::thread &thread : threads)
    thread.join();
}

class SharedHandle : public TableTest {
 public:
  SharedHandle() {
    sql("CREATE TABLE t (_id BIGINT UNSIGNED PRIMARY KEY AUTO_INCREMENT, thread INT, value INT, text VARCHAR(50))");
  }

  // One row's life: inserted, updated twice, and deleted if it is to be. Returns its id.
  unsigned long long liveThrough(int thread, int round, bool isDeleted) {
    unsigned long long affected = 0;
    unsigned long long id = 0;
    const Content values = Content().with("thread", thread).with("text", "new");
    expectOneRow(orv_db_insert(handle(), "t", values, &affected, &id), affected);
    const _orv_db_param_t own = idParam(id);
    for (const int value : {round, -1 - round}) {
      expectOneRow(orv_db_update(handle(), "t", Content().with("value", value), "_id=?", &own, 1, &affected), affected);
    }
    if (isDeleted) expectOneRow(orv_db_delete(handle(), "t", "_id=?", &own, 1, &affected), affected);
    return id;
  }

  // By reference, because the call that gives the status sets the number of rows.
  static void expectOneRow(int status, const unsigned long long &affected) {
    EXPECT_EQ(status, ORV_DB_OK);
    EXPECT_EQ(affected, 1U);
  }

  void queryRaw() {
    const std::string text = "INSERT INTO raw VALUES (1)";
    EXPECT_EQ(orv_db_raw_query(handle(), text.data(), text.size(), nullptr), 0U);
  }

  void testAndCount() {
    EXPECT_EQ(orv_db_test_connection(handle()), ORV_DB_OK);
    orv_db_raw_affected_rows(handle());
    orv_db_raw_insert_id(handle());
  }

  void runTransaction() {
    EXPECT_EQ(orv_db_begin_transaction(handle()), ORV_DB_OK);
    EXPECT_EQ(orv_db_commit_transaction(handle()), ORV_DB_OK);
  }

  void failTwice() {
    EXPECT_EQ(orv_db_insert(handle(), "t", Content().with("missing", 1), nullptr, nullptr), ORV_DB_ERROR);
    EXPECT_EQ(orv_db_delete(handle(), "t", "_id=?", nullptr, 0, nullptr), ORV_DB_INVALID_ARGUMENT);
  }

  // Rows of which every second one has been deleted again.
  void expectRows() {
    std::vector<Row> expected;
    for (int thread = 0; thread < kThreads; ++thread) {
      for (int round = 0; round < kRounds; round += 2) {
        expected.push_back({std::to_string(thread), std::to_string(-1 - round), "new"});
      }
    }
    EXPECT_EQ(rows("SELECT thread, value, text FROM t ORDER BY thread, value DESC"), expected);
  }
};

std::multiset<RecordBytes> bytesOf(const std::vector<PeerRecord> &records) {
  std::multiset<RecordBytes> bytes;
  for (const PeerRecord &record : records)
    bytes.insert(record.bytes);
  return bytes;
}

}  // namespace

TEST_F(SharedHandle, LetsSixThreadsInsertUpdateAndDelete) {
  std::mutex guard;
  std::vector<PeerRecord> expected;
  runOnSixThreads([&](int thread) {
    for (int round = 0; round < kRounds; ++round) {
      const bool isDeleted = round % 2 == 1;
      const unsigned long long id = liveThrough(thread, round, isDeleted);
      const std::lock_guard<std::mutex> noting(guard);
      expected.insert(expected.end(), {inserted("t", id), updated("t", id), updated("t", id)});
      if (isDeleted) expected.push_back(deleted("t"));
    }
  });
  expectRows();
  EXPECT_TRUE(bytesOf(announced()) == bytesOf(expected)) << "an update has announced another row, or none";
}

TEST_F(SharedHandle, LetsWritersRawQueriesTransactionsTestsAndCountersMix) {
  sql("CREATE TABLE raw (a INT)");
  const std::function<void()> others[] = {[&] { queryRaw(); }, [&] { testAndCount(); }, [&] { runTransaction(); }};
  std::atomic<int> writers{3};
  runOnSixThreads([&](int thread) {
    if (thread >= 3) {
      while (writers > 0)
        others[thread - 3]();
      return;
    }
    for (int round = 0; round < kRounds; ++round)
      liveThrough(thread, round, round % 2 == 1);
    --writers;
  });
  EXPECT_EQ(
      rows("SELECT thread, COUNT(*) FROM t GROUP BY thread ORDER BY thread"),
      (std::vector<Row>{
          {"0", std::to_string(kRounds / 2)}, {"1", std::to_string(kRounds / 2)}, {"2", std::to_string(kRounds / 2)}}));
  EXPECT_EQ(connectionIds().size(), 1U);
}

TEST_F(SharedHandle, LetsThreadsFailBesideThreadsThatSucceed) {
  runOnSixThreads([&](int thread) {
    for (int round = 0; round < kRounds; ++round) {
      if (thread % 2 == 0) {
        liveThrough(thread, round, false);
      } else {
        failTwice();
      }
    }
  });
  EXPECT_EQ(admin().value("SELECT COUNT(*) FROM t"), std::to_string(kThreads / 2 * kRounds));
}

// --- what one thread does, call by call ---

TEST_F(SharedHandle, IsLockedDuringEveryCallOfAnInsert) {
  liveThrough(0, 0, false);
  EXPECT_THAT(unlockedCalls(), IsEmpty());
}

TEST_F(SharedHandle, IsLockedDuringTheLookUpOfARowAndTheCloseOfEveryStatement) {
  sql("INSERT INTO t (value) VALUES (1)");
  ASSERT_EQ(orv_db_update(handle(), "t", Content().with("value", 2), nullptr, nullptr, 0, nullptr), ORV_DB_OK);
  EXPECT_THAT(statementCalls(),
              ElementsAre("init", "prepare", "execute", "store_result", "fetch", "fetch_column", "close",  // look-up
                          "init", "prepare", "execute", "close"));
  EXPECT_THAT(unlockedCalls(), IsEmpty());
}

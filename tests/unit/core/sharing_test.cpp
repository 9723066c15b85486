// Threads that use the library at the same time.
#include <atomic>
#include <functional>
#include <thread>

#include "core/change_report.h"
#include "core/connection.h"
#include "writing_test.h"

namespace {

using Work = std::function<void()>;

// Runs each piece of work on a thread of its own, so many times, all beginning together.
void runTogether(int rounds, const std::vector<Work> &all) {
  std::atomic<std::size_t> ready{0};
  std::vector<std::thread> threads;
  for (const Work &work : all) {
    threads.emplace_back([&, work] {
      ++ready;
      while (ready < all.size())
        std::this_thread::yield();
      for (int round = 0; round < rounds; ++round)
        work();
    });
  }
  for (std::thread &thread : threads)
    thread.join();
}

class ThreadsOnOneHandle : public WritingTest {};
class ThreadsOnTheirOwnHandles : public WritingTest {};

}  // namespace

TEST_F(ThreadsOnOneHandle, WriteWithoutGettingInEachOthersWay) {
  constexpr int kRounds = 50;
  const auto insertUpdateDelete = [this](int value) {
    return [this, value] {
      const std::string where = "value = " + std::to_string(value);
      EXPECT_EQ(insertRow(handle_, "t", value), 0) << orv_db_get_error_str();
      EXPECT_EQ(updateRows(handle_, "t", -value, where.c_str()), 0) << orv_db_get_error_str();
      EXPECT_EQ(deleteRows(handle_, "t", where.c_str()), 0) << orv_db_get_error_str();
    };
  };
  runTogether(kRounds, {insertUpdateDelete(1), insertUpdateDelete(2), insertUpdateDelete(3),
                        [this] { EXPECT_EQ(rawQuery(handle_, "INSERT INTO u (value) VALUES (1), (2)"), 0U); },
                        [this] { EXPECT_EQ(rawValue(handle_, "SELECT 'text'"), "text"); },
                        [this] {
                          EXPECT_EQ(orv_db_test_connection(handle_.get()), 0);
                          orv_db_raw_affected_rows(handle_.get());
                          orv_db_raw_insert_id(handle_.get());
                        }});
  EXPECT_EQ(admin().query("SELECT value, COUNT(*) FROM t GROUP BY value ORDER BY value DESC"),
            (std::vector<Row>{{"-1", "50"}, {"-2", "50"}, {"-3", "50"}}));
  EXPECT_EQ(rowCount("u"), "100");
}

TEST_F(ThreadsOnOneHandle, RunTransactionsBesideOtherWriters) {
  constexpr int kRounds = 50;
  runTogether(kRounds, {[this] {
                          EXPECT_EQ(orv_db_begin_transaction(handle_.get()), 0);
                          EXPECT_EQ(insertRow(handle_, "t", 1), 0);
                          EXPECT_EQ(orv_db_commit_transaction(handle_.get()), 0);
                        },
                        [this] { EXPECT_EQ(insertRow(handle_, "u", 1), 0); },
                        [this] { EXPECT_EQ(deleteRows(handle_, "v", nullptr), 0); }});
  EXPECT_EQ(orv_db_commit_transaction(handle_.get()), 0);
  EXPECT_EQ(rowCount("t"), "50");
  EXPECT_EQ(rowCount("u"), "50");
}

TEST_F(ThreadsOnOneHandle, DoNotTakeEachOthersFailuresForTheirOwn) {
  constexpr int kRounds = 200;
  runTogether(kRounds, {[this] { EXPECT_EQ(rawQuery(handle_, "INSERT INTO t (value) VALUES (1)"), 0U); },
                        [this] { EXPECT_EQ(rawQuery(handle_, "this is no statement"), 1U); }});
  EXPECT_EQ(rowCount("t"), "200");
}

TEST_F(ThreadsOnTheirOwnHandles, OpenWriteQueryAndClose) {
  constexpr int kRounds = 10;
  const auto work = [this] {
    const Handle handle = openHandle(*this);
    ASSERT_TRUE(handle) << orv_db_get_error_str();
    EXPECT_EQ(insertRow(handle, "t", 1), 0);
    ResultSetInfo *rows = nullptr;
    EXPECT_EQ(orv_db_query(handle.get(), "t", nullptr, 0, nullptr, nullptr, 0, nullptr, &rows), 0U);
    EXPECT_EQ(orv_db_result_step(rows), ORV_DB_ROW);
    orv_db_free_result(rows);
  };
  runTogether(kRounds, {work, work, work, work, work, work});
  EXPECT_EQ(rowCount("t"), "60");
  EXPECT_EQ(s_mapConnInfo->size(), 1U);
  EXPECT_EQ(peer_.remainingRecords().size(), 60U);
}

TEST_F(ThreadsOnTheirOwnHandles, RunTransactions) {
  constexpr int kRounds = 20;
  std::vector<Handle> handles;
  handles.reserve(3);
  std::vector<Work> all;
  for (const char *table : {"t", "u", "v"}) {
    handles.push_back(openHandle(*this));
    ASSERT_TRUE(handles.back()) << orv_db_get_error_str();
    all.emplace_back([&handle = handles.back(), table] {
      EXPECT_EQ(orv_db_begin_transaction(handle.get()), 0);
      EXPECT_EQ(insertRow(handle, table, 1), 0);
      EXPECT_EQ(insertRow(handle, table, 2), 0);
      EXPECT_EQ(orv_db_commit_transaction(handle.get()), 0);
      EXPECT_EQ(orv_db_begin_transaction(handle.get()), 0);
      EXPECT_EQ(insertRow(handle, table, 3), 0);
      EXPECT_EQ(orv_db_rollback_transaction(handle.get()), 0);
    });
  }
  runTogether(kRounds, all);
  for (const char *table : {"t", "u", "v"})
    EXPECT_EQ(rowCount(table), "40");
  EXPECT_EQ(peer_.remainingRecords().size(), 60U);
}

// Sixteen threads on handles of their own, and eight that write through one handle they share, all at once. What the
// database holds in the end, and what was announced, is what each of them did.
#include <algorithm>
#include <atomic>
#include <map>
#include <memory>
#include <thread>

#include "stress/worker.h"
#include "support/connected_peer.h"
#include "support/count.h"
#include "support/watchdog.h"
#include "unit/core/writing_test.h"

namespace {

constexpr int kOwners = 16;
constexpr int kSharers = 8;

class ThreadStorm : public DatabaseTest {
 protected:
  static int rounds() { return countFromEnvironment("ORVDB_ROUNDS", 24); }

  std::string newTable(const std::string &name) {
    createTable(admin(), name);
    return name;
  }

  // All begin together.
  template <class Work>
  void start(const std::string &name, Work work) {
    threads_.emplace_back([this, name, work] {
      WatchedThread here(watchdog_, name);
      while (!begun_)
        std::this_thread::yield();
      for (int round = 1; round <= rounds(); ++round)
        work(here, round);
    });
  }

  void finish() {
    begun_ = true;
    for (std::thread &thread : threads_)
      thread.join();
  }

  // The rows of a table, by their ids.
  std::map<unsigned long long, int> rowsOf(const std::string &table) {
    std::map<unsigned long long, int> rows;
    for (const Row &row : admin().query("SELECT _id, value FROM " + table))
      rows[std::stoull(*row.at(0))] = std::stoi(*row.at(1));
    return rows;
  }

  std::map<RecordBytes, int> announced() {
    std::map<RecordBytes, int> records;
    for (const PeerRecord &record : peer_.remainingRecords())
      ++records[record.bytes];
    return records;
  }

  ConnectedPeer peer_;

 private:
  Watchdog watchdog_;
  std::atomic<bool> begun_{false};
  std::vector<std::thread> threads_;
};

void add(Deeds &all, const Deeds &more) {
  all.rows.insert(more.rows.begin(), more.rows.end());
  for (const auto &[record, count] : more.announced)
    all.announced[record] += count;
}

}  // namespace

TEST_F(ThreadStorm, LeavesWhatEachThreadHasDoneAndAnnounced) {
  std::vector<std::unique_ptr<Worker>> workers;
  std::vector<Handle> handles;
  for (int i = 0; i < kOwners; ++i) {
    handles.push_back(openHandle(*this));
    ASSERT_TRUE(handles.back()) << orv_db_get_error_str();
    workers.push_back(std::make_unique<Worker>(db(), newTable("own_" + std::to_string(i)), handles.back().get()));
    start("owner " + std::to_string(i), [worker = workers.back().get()](WatchedThread &here, int round) {
      here.at("row");
      worker->liveThrough(round);
      here.at("transaction");
      worker->transact(round);
      here.at("query");
      worker->query();
    });
  }
  handles.push_back(openHandle(*this));
  newTable("shared");
  for (int i = 0; i < kSharers; ++i) {
    workers.push_back(std::make_unique<Worker>(db(), "shared", handles.back().get()));
    start("sharer " + std::to_string(i), [worker = workers.back().get()](WatchedThread &here, int round) {
      here.at("row");
      worker->liveThrough(round);
    });
  }
  finish();

  Deeds shared;
  std::map<RecordBytes, int> expected;
  for (const auto &worker : workers) {
    if (worker->table() == "shared") {
      add(shared, worker->deeds());
    } else {
      EXPECT_EQ(rowsOf(worker->table()), worker->deeds().rows) << worker->table();
    }
    expected.insert(worker->deeds().announced.begin(), worker->deeds().announced.end());
  }
  EXPECT_EQ(rowsOf("shared"), shared.rows);
  for (const auto &[record, count] : shared.announced)
    expected[record] = count;
  EXPECT_TRUE(announced() == expected);
  EXPECT_EQ(connectionIds().size(), handles.size()) << "a connection was lost";
}

// A transaction belongs to the handle: what the others write in between is part of it, and announced by its commit.
TEST_F(ThreadStorm, LetsWritersOnASharedHandleMixWithTransactionsOnIt) {
  const Handle handle = openHandle(*this);
  ASSERT_TRUE(handle) << orv_db_get_error_str();
  newTable("shared");
  std::vector<std::unique_ptr<Worker>> workers;
  for (int i = 0; i < kSharers; ++i) {
    workers.push_back(std::make_unique<Worker>(db(), "shared", handle.get()));
    start("sharer " + std::to_string(i), [worker = workers.back().get(), &handle, i](WatchedThread &here, int round) {
      const bool begins = (round + i) % 4 == 0;
      here.at("transaction");
      EXPECT_EQ(begins ? orv_db_begin_transaction(handle.get()) : 0, 0);
      here.at("row");
      worker->liveThrough(round);
      here.at("transaction");
      EXPECT_EQ(begins ? orv_db_commit_transaction(handle.get()) : 0, 0);
    });
  }
  finish();
  EXPECT_EQ(orv_db_commit_transaction(handle.get()), 0);

  Deeds shared;
  for (const auto &worker : workers)
    add(shared, worker->deeds());
  EXPECT_EQ(rowsOf("shared"), shared.rows);
  std::map<RecordBytes, int> records = announced();
  const RecordBytes commit = changeRecord(db(), "shared", ORV_DB_ACTION_ALL, kWholeTable);
  EXPECT_GT(records[commit], 1);
  records.erase(commit);
  for (const auto &[record, count] : records)
    EXPECT_LE(count, shared.announced[record]) << "announced, and not done";
}

#include "fault/proxy/broken_connection.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cstring>

#include "core/handle.h"
#include "fault/proxy/positions.h"

namespace {

constexpr int kMostRuns = 40'000;
constexpr const char *kDirectionNames[] = {"to the server", "to the client"};

}  // namespace

std::ostream &operator<<(std::ostream &out, const FaultName &fault) { return out << fault.name; }

std::ostream &operator<<(std::ostream &out, Direction direction) {
  return out << kDirectionNames[static_cast<int>(direction)];
}

std::ostream &operator<<(std::ostream &out, const Figures &figures) {
  out << figures.broken << " broken;";
  for (const auto &[status, count] : figures.statuses)
    (status == kNotOpened ? out << " not opened" : out << " status " << status) << ": " << count << ';';
  if (figures.lostCommits > 0) out << " status 0 of a lost transaction: " << figures.lostCommits << ';';
  return out << " calls that failed afterwards: " << figures.failedAfterwards << "; longest: " << figures.longest
             << " s";
}

// --- one run after the other -----------------------------------------------------------------------------------------

BreakingThread::BreakingThread(BrokenConnection &test, Watchdog &watchdog, const std::string &name)
    : test_(test), proxy_(test.server()), admin_(test.server(), test.db()), here_(watchdog, name) {}

void BreakingThread::run(const Plan &plan) {
  const RunNumber run = test_.nextRun();
  const testing::ScopedTrace trace(__FILE__, __LINE__, testing::Message() << plan.byte << " bytes " << plan.direction);
  proxy_.breakNext(plan);
  const auto begin = std::chrono::steady_clock::now();
  here_.at("open");
  const Handle handle = test_.open(proxy_);
  here_.at("conversation");
  const Outcome outcome = handle ? test_.conversation().hold(handle.get(), run) : Outcome{kNotOpened};
  const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - begin;
  here_.at("judgement");
  judge(plan, run, outcome);
  here_.at("use afterwards");
  const int failures = handle ? useAfterwards(handle.get(), run, plan.fault) : 0;
  here_.at("close");
  test_.count(plan, outcome, failures, taken.count(), proxy_.hasBroken());
}

void BreakingThread::judge(const Plan &plan, RunNumber run, const Outcome &outcome) {
  if (outcome.status == ORV_DB_OK) return judgeSuccess(run, outcome);
  EXPECT_NE(plan.fault, Fault::split) << "nothing was broken";
  if (outcome.status == kNotOpened) {
    const bool ownsText = plan.fault != Fault::stall;  // else many threads share the one there is
    EXPECT_TRUE(!ownsText || *orv_db_get_error_str() != '\0');
  } else {
    EXPECT_THAT(test_.conversation().brokenStatuses, testing::Contains(outcome.status));
    EXPECT_TRUE(outcome.isWhole) << "status " << outcome.status;
  }
}

void BreakingThread::judgeSuccess(RunNumber run, const Outcome &outcome) {
  EXPECT_TRUE(outcome.isWhole);
  if (test_.conversation().isDone == nullptr || !outcome.hasWritten) return;
  if (test_.conversation().isDone(admin_, run)) return;
  EXPECT_STREQ(test_.conversation().name, "Commit") << "status 0, and nothing was written";
  EXPECT_GT(proxy_.connectionCount(), 1) << "status 0 of a commit on the transaction's own connection";
  test_.countLostCommit();
}

// Nobody holds the handle's lock, and the first or the second write goes through. Where time-outs are short, for a
// connection that stalls, a busy machine lets later calls run into them, too: then one goes through in the end. Gives
// the number of failures.
int BreakingThread::useAfterwards(_orv_db_handle_t *handle, RunNumber run, Fault fault) {
  if (handle->lock.tryLock()) {
    handle->lock.unlock();
  } else {
    ADD_FAILURE() << "the handle's lock is held";
    return 0;
  }
  constexpr int kMostTries = 10;
  int failures = 0;
  for (int status = -1; status != ORV_DB_OK && failures < kMostTries; failures += status != ORV_DB_OK ? 1 : 0) {
    status = insertInto(handle, "afterwards", run);
    EXPECT_THAT(status, testing::AnyOf(ORV_DB_OK, ORV_DB_ERROR));
  }
  const std::string count = admin_.value("SELECT COUNT(*) FROM afterwards WHERE value = " + std::to_string(run));
  if (fault == Fault::stall) {
    EXPECT_NE(count, "0");
  } else {
    EXPECT_LE(failures, 1);
    EXPECT_EQ(count, "1");
  }
  return failures;
}

// --- all of them -----------------------------------------------------------------------------------------------------

void BrokenConnection::SetUp() { createTables(admin(), kMostRuns); }

Handle BrokenConnection::open(const TcpProxy &proxy) const {
  return Handle(orv_db_open(host(), user(), password(), db(), proxy.port()));
}

std::string BrokenConnection::rehearse(Direction direction) {
  TcpProxy proxy(server());
  proxy.breakNext({});
  const RunNumber run = nextRun();
  const Handle handle = open(proxy);
  EXPECT_TRUE(handle) << orv_db_get_error_str();
  const Outcome outcome = conversation().hold(handle.get(), run);
  note(outcome);
  EXPECT_EQ(outcome.status, ORV_DB_OK) << orv_db_get_error_str();
  EXPECT_TRUE(outcome.isWhole);
  EXPECT_TRUE(conversation().isDone == nullptr || conversation().isDone(admin(), run));
  // A statement's end is said last, and not answered. Whatever has an answer comes behind it: one packet each way.
  EXPECT_EQ(orv_db_test_connection(handle.get()), ORV_DB_OK);
  const std::string bytes = proxy.passedOn(direction);
  const std::vector<std::size_t> ends = packetEnds(bytes);
  return bytes.substr(0, ends.at(ends.size() - 2));
}

const Figures &BrokenConnection::breakAt(Direction direction, const std::vector<std::size_t> &places, int threadCount) {
  Watchdog watchdog;
  std::atomic<std::size_t> next{0};
  std::vector<std::thread> threads;
  for (int i = 0; i < threadCount; ++i) {
    threads.emplace_back([&, i] {
      BreakingThread thread(*this, watchdog, "thread " + std::to_string(i));
      for (std::size_t place = next++; place < places.size(); place = next++)
        thread.run({fault(), direction, places[place]});
    });
  }
  for (std::thread &thread : threads)
    thread.join();
  Figures &figures = figures_[direction];
  figures.lostCommits = lostCommits_.exchange(0);
  std::cout << "figures: " << conversation().name << std::get<1>(GetParam()) << ' ' << direction << ": "
            << places.size() << " places, " << figures << std::endl;
  return figures;
}

void BrokenConnection::note(const Outcome &outcome) {
  leastAnnouncements_ += outcome.leastAnnouncements;
  mostAnnouncements_ += outcome.mostAnnouncements;
}

void BrokenConnection::count(const Plan &plan, const Outcome &outcome, int failedAfterwards, double seconds,
                             bool hasBroken) {
  const std::lock_guard<std::mutex> counting(mutex_);
  note(outcome);
  Figures &figures = figures_[plan.direction];
  ++figures.statuses[outcome.status];
  figures.broken += hasBroken ? 1 : 0;
  figures.failedAfterwards += failedAfterwards;
  figures.longest = std::max(figures.longest, seconds);
}

void BrokenConnection::expectNothingWrittenTwice() {
  for (const std::string table : {"t", "afterwards"})
    EXPECT_EQ(admin().query("SELECT value FROM " + table + " GROUP BY value HAVING COUNT(*) > 1"), std::vector<Row>{});
}

void BrokenConnection::expectAnnouncements() {
  int announced = 0;
  for (const PeerRecord &record : peer_.remainingRecords())
    announced += std::strcmp(record.message().table, "afterwards") != 0 ? 1 : 0;
  EXPECT_GE(announced, leastAnnouncements_);
  EXPECT_LE(announced, mostAnnouncements_);
}

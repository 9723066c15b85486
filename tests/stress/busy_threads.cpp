#include "stress/busy_threads.h"

#include <functional>
#include <memory>
#include <optional>

#include "stress/tables.h"
#include "unit/core/writing_test.h"

namespace {

// Of each thread between two rounds: more work would only be more of the same, and hold up whatever else the machine
// does.
constexpr std::chrono::microseconds kPause{300};

void announceOnce(const std::string &db) {
  EXPECT_EQ(orv_db_notify_change(db.c_str(), kBeats, ORV_DB_ACTION_UPDATE, 1), 0);
}

void ignoreChange(const char *, const char *, _orv_db_action_t, unsigned long long, void *) {}

void registerAndCancel(ForkGate &gate, const std::string &db, const std::string &table) {
  const ForkGate::Registration registration(gate);
  EXPECT_EQ(orv_db_register_callback(db.c_str(), table.c_str(), ORV_DB_ACTION_ALL, nullptr, 0, ignoreChange), 0);
  EXPECT_EQ(orv_db_cancel_callback(db.c_str(), table.c_str(), ORV_DB_ACTION_ALL), 0);
}

void openAndClose(ForkGate &gate, const std::string &db, bool overTls) {
  std::optional<ForkGate::OpeningOverTls> opening;
  if (overTls) opening.emplace(gate);
  const Handle handle = openHandle(db);
  ASSERT_TRUE(handle) << orv_db_get_error_str();
  EXPECT_EQ(orv_db_test_connection(handle.get()), 0);
}

// Always has a result in the middle of which it is.
class Reader {
 public:
  explicit Reader(const std::string &db) : handle_(openHandle(db)), connection_(connection()) {}
  ~Reader() { EXPECT_EQ(connection(), connection_); }
  Reader(const Reader &) = delete;
  Reader &operator=(const Reader &) = delete;

  void work() {
    if (open_) expectRows(open_.get(), kNumbers / 2 + 1, kNumbers);
    open_ = query();
    expectRows(open_.get(), 1, kNumbers / 2);
    EXPECT_EQ(rawValue(handle_, std::string("SELECT COUNT(*) FROM ") + kNumbersTable), std::to_string(kNumbers));
  }

 private:
  std::string connection() const { return rawValue(handle_, "SELECT CONNECTION_ID()"); }

  Result query() const {
    const char *columns[] = {"value"};
    ResultSetInfo *rows = nullptr;
    EXPECT_EQ(orv_db_query(handle_.get(), kNumbersTable, columns, 1, nullptr, nullptr, 0, "value", &rows), 0U);
    return Result(rows);
  }

  static void expectRows(ResultSetInfo *rows, int first, int last) {
    for (int row = first; row <= last; ++row) {
      int value = 0;
      EXPECT_EQ(orv_db_result_step(rows), static_cast<unsigned int>(ORV_DB_ROW));
      EXPECT_EQ(orv_db_result_column_int(rows, 0, &value), 0U);
      EXPECT_EQ(value, row);
    }
  }

  const Handle handle_;
  const std::string connection_;
  Result open_;
};

// Knows what its table has to hold.
class Writer {
 public:
  explicit Writer(const std::string &db) : handle_(openHandle(db)), connection_(connection()) {}
  ~Writer() {
    EXPECT_EQ(rawValue(handle_, std::string("SELECT COUNT(*) FROM ") + kWrittenTable), std::to_string(rows_));
    EXPECT_EQ(connection(), connection_);
  }
  Writer(const Writer &) = delete;
  Writer &operator=(const Writer &) = delete;

  void work() {
    const std::string last = "_id = " + std::to_string(++rows_);
    EXPECT_EQ(insertRow(handle_, kWrittenTable, rows_), 0) << orv_db_get_error_str();
    EXPECT_EQ(orv_db_begin_transaction(handle_.get()), 0);
    EXPECT_EQ(updateRows(handle_, kWrittenTable, -rows_, last.c_str()), 0) << orv_db_get_error_str();
    EXPECT_EQ(orv_db_commit_transaction(handle_.get()), 0);
  }

 private:
  std::string connection() const { return rawValue(handle_, "SELECT CONNECTION_ID()"); }

  const Handle handle_;
  const std::string connection_;
  int rows_ = 0;
};

}  // namespace

// What is there before the thread's work, made on the thread, goes with it.
template <class Work>
void BusyThreads::start(const char *name, Work work) {
  threads_.emplace_back([this, name, work] {
    WatchedThread here(watchdog_, name);
    auto round = work();
    for (bool isFirst = true; !enough_; isFirst = false) {
      here.at(name);
      {
        const ForkGate::Step step(gate_);
        round();
      }
      ++rounds_;
      if (isFirst) ++atWork_;
      std::this_thread::sleep_for(kPause);
    }
    const ForkGate::Step ending(gate_);
    round = nullptr;
  });
}

BusyThreads::BusyThreads(const std::string &db, bool overTls, ForkGate &gate, Watchdog &watchdog)
    : db_(db), gate_(gate), watchdog_(watchdog) {
  using Round = std::function<void()>;
  const auto announcing = [this]() -> Round { return [this] { announceOnce(db_); }; };
  const auto opening = [this, overTls]() -> Round { return [this, overTls] { openAndClose(gate_, db_, overTls); }; };
  const auto registering = [this](const char *table) {
    return [this, table]() -> Round { return [this, table] { registerAndCancel(gate_, db_, table); }; };
  };
  const auto reading = [this]() -> Round { return [reader = std::make_shared<Reader>(db_)] { reader->work(); }; };
  const auto writing = [this]() -> Round { return [writer = std::make_shared<Writer>(db_)] { writer->work(); }; };
  start("announcing", announcing);
  start("registering", registering("own_1"));
  start("registering too", registering("own_2"));
  start("opening and closing", opening);
  start("opening and closing too", opening);
  start("reading", reading);
  start("reading too", reading);
  start("writing", writing);
  EXPECT_TRUE(waitUntil([this] { return atWork_ == static_cast<int>(threads_.size()); }));
}

BusyThreads::~BusyThreads() { finish(); }

int BusyThreads::finish() {
  enough_ = true;
  for (std::thread &thread : threads_)
    thread.join();
  threads_.clear();
  return rounds_;
}

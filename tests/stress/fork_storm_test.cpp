// A process forks again and again, in every way, while eight of its threads use the library. Each child does its work
// in time, and the parent loses nothing: no connection, no change that was announced to it.
#include <gmock/gmock.h>
#include <spawn.h>
#include <sys/wait.h>

#include <deque>
#include <iostream>

#include "stress/busy_threads.h"
#include "stress/child_work.h"
#include "stress/counted_changes.h"
#include "stress/storm_fixture.h"
#include "stress/tables.h"
#include "unit/core/in_child.h"
#include "unit/core/writing_test.h"

namespace {

constexpr std::size_t kMostAtOnce = 4;
constexpr char kPlain[] = "plain";
constexpr char kOverTls[] = "over TLS";

// Whose start allocates memory. It runs once it has read an answer.
void waitForMessageThread(const std::string &db) {
  EXPECT_EQ(orv_db_register_callback(db.c_str(), "of no interest", ORV_DB_ACTION_ALL, nullptr, 0, nullptr), 0);
}

// One storm: the threads, what the parent hears, and the children that have not ended yet.
class Storm {
 public:
  Storm(std::string db, int forks, bool overTls)
      : db_(std::move(db)), here_(watchdog_, "forking"), changes_(db_, forks), busy_(db_, overTls, gate_, watchdog_) {}

  void fork(int number) { (this->*ways()[static_cast<std::size_t>(number) % ways().size()])(number); }
  void finish();

 private:
  using Way = void (Storm::*)(int number);

  static const std::vector<Way> &ways() {
    static const std::vector<Way> all = {&Storm::plain,
                                         &Storm::withExitHandlers,
                                         &Storm::plain,
                                         &Storm::onlyExits,
                                         &Storm::twice,
                                         &Storm::plain,
                                         &Storm::inCallback,
                                         &Storm::thenExec,
                                         &Storm::plain,
                                         &Storm::onlyExits,
                                         &Storm::returnsInCallback,
                                         &Storm::spawn};
    return all;
  }

  void plain(int number) {
    add(number, [=] { _exit(doChildsWork(db_, number)); });
  }
  // Copies of the parent's objects go as they do at the end of a program.
  void withExitHandlers(int number) {
    add(number, [=] { exit(doChildsWork(db_, number)); });
  }
  void onlyExits(int) {
    add({}, [] { exit(0); });
  }
  void thenExec(int number) {
    add(number, [=] { become(kDoesAChildsWork, {db_, std::to_string(number)}); });
  }
  void twice(int number);
  void spawn(int number);
  void inCallback(int number) { forkInCallback(number, true); }
  void returnsInCallback(int) { forkInCallback({}, false); }

  template <class Body>
  void add(std::optional<int> number, Body body);
  void forkInCallback(std::optional<int> number, bool works);
  static void forkNow(void *storm);
  void expectDone(std::size_t most);

  const std::string db_;
  Watchdog watchdog_;
  WatchedThread here_;
  ForkGate gate_;
  CountedChanges changes_;
  BusyThreads busy_;
  std::deque<pid_t> children_;
  int working_ = 0;  // children that do the whole work
  int others_ = 0;

  // For the callback.
  std::optional<int> number_;
  bool works_ = false;
  std::atomic<pid_t> made_{0};
};

template <class Body>
void Storm::add(std::optional<int> number, Body body) {
  here_.at("fork");
  {
    const ForkGate::Fork alone(gate_);
    children_.push_back(startChild([&] {
      body();
      return 1;
    }));
  }
  ++(number ? working_ : others_);
  expectDone(kMostAtOnce);
}

void Storm::twice(int number) {
  add(number, [=] {
    if (kForksBetweenSteps) waitForMessageThread(db_);
    const Ending ending = inChild([=] { return doChildsWork(db_, number); });
    _exit(ending.signal == 0 ? ending.exitStatus : 128 + ending.signal);
  });
}

void Storm::spawn(int number) {
  here_.at("spawn");
  ChildProgram child(kDoesAChildsWork, {db_, std::to_string(number)});
  EXPECT_EQ(child.wait(), exited(0)) << child.output();
  ++working_;
}

// Runs on the message thread. A child that comes back from here ends by itself.
void Storm::forkNow(void *storm) {
  auto &self = *static_cast<Storm *>(storm);
  const pid_t child = ::fork();
  if (child != 0) {
    self.made_ = child;
  } else if (self.works_) {
    _exit(doChildsWork(self.db_, *self.number_));
  }
}

void Storm::forkInCallback(std::optional<int> number, bool works) {
  here_.at("fork in a callback");
  {
    const ForkGate::ForkInCallback alone(gate_);
    number_ = number;
    works_ = works;
    made_ = 0;
    changes_.onNext(forkNow, this);
    EXPECT_TRUE(waitUntil([this] { return made_ != 0; }));
  }
  children_.push_back(made_);
  ++(number ? working_ : others_);
  expectDone(kMostAtOnce);
}

// The oldest first, until no more than so many are left.
void Storm::expectDone(std::size_t most) {
  here_.at("waiting for a child");
  for (; children_.size() > most; children_.pop_front())
    EXPECT_EQ(waitFor(children_.front()), exited(0)) << "of child " << working_ + others_;
}

void Storm::finish() {
  expectDone(0);
  here_.at("ending");
  const int rounds = busy_.finish();
  EXPECT_GT(rounds, 0);
  const Handle handle = openHandle(db_);
  std::vector<unsigned long long> rows;
  ResultSetInfo *result = nullptr;
  ASSERT_EQ(rawQuery(handle, std::string("SELECT _id FROM ") + kChildren, &result), 0U);
  const Result owned(result);
  while (orv_db_result_step(result) == ORV_DB_ROW)
    orv_db_result_column_uint64(result, 0, &rows.emplace_back());
  EXPECT_EQ(rows.size(), static_cast<std::size_t>(working_));
  const unsigned long long heard = changes_.finish(rows);
  std::cout << "figures: " << working_ + others_ << " forks, " << working_ << " of them at work; eight threads did "
            << rounds << " rounds; the parent heard " << heard << " numbered changes and " << rows.size()
            << " of children" << std::endl;
}

CHILD_PROGRAM(ForksBesideBusyThreads) {
  const int forks = std::stoi(arguments.at(1));
  Storm storm(arguments.at(0), forks, arguments.at(2) == kOverTls);
  for (int number = 0; number < forks && !testing::Test::HasFailure(); ++number)
    storm.fork(number);
  storm.finish();
  return 0;
}

class ForkStorm : public StormTest {
 protected:
  ForkStorm() { startServer(); }

  static std::string forks(int otherwise) { return std::to_string(countFromEnvironment("ORVDB_FORKS", otherwise)); }
};

}  // namespace

TEST_F(ForkStorm, LeavesEveryChildAtWorkAndTheParentComplete) {
  expectSuccess(ForksBesideBusyThreads, {db(), forks(96), kPlain});
}

TEST_F(ForkStorm, LeavesThemSoOverTlsToo) {
  useTls();
  expectSuccess(ForksBesideBusyThreads, {db(), forks(36), kOverTls});
}

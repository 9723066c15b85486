// Forks of a process that was loaded before there was a notification server: while there is none, and when it has come.
#include <poll.h>

#include <iostream>

#include "stress/child_work.h"
#include "stress/fork_gate.h"
#include "stress/storm_fixture.h"
#include "stress/tables.h"
#include "support/watchdog.h"
#include "unit/core/in_child.h"
#include "unit/core/writing_test.h"

namespace {

constexpr std::chrono::microseconds kPause{300};

// Threads that write and announce nothing to anybody, since nobody is there.
class Writers {
 public:
  Writers(const std::string &db, ForkGate &gate, Watchdog &watchdog) {
    for (std::thread &thread : threads_) {
      thread = std::thread([&, db] {
        WatchedThread me(watchdog, "writer");
        const Handle handle = openHandle(db);
        for (++atWork_; !enough_; std::this_thread::sleep_for(kPause)) {
          me.at("insert");
          const ForkGate::Step step(gate);
          EXPECT_EQ(insertRow(handle, kWrittenTable, 1), 0) << orv_db_get_error_str();
        }
      });
    }
    EXPECT_TRUE(waitUntil([this] { return atWork_ == static_cast<int>(threads_.size()); }));
  }
  ~Writers() {
    enough_ = true;
    for (std::thread &thread : threads_)
      thread.join();
  }
  Writers(const Writers &) = delete;
  Writers &operator=(const Writers &) = delete;

 private:
  std::atomic<bool> enough_{false};
  std::atomic<int> atWork_{0};
  std::vector<std::thread> threads_{4};
};

// The database is there all the same.
int workWithoutAServer(const std::string &db, int number) {
  endWhenLate();
  const Handle handle = openHandle(db);
  if (!handle || insertRow(handle, kChildren, number) != ORV_DB_OK) return 2;
  if (orv_db_retry_init() != ORV_DB_ERROR) return 3;
  return orv_db_notify_change(db.c_str(), kBeats, ORV_DB_ACTION_INSERT, 1) == ORV_DB_GONE ? 0 : 4;
}

template <class Work>
void forkOften(ForkGate &gate, WatchedThread &here, int first, int count, Work work) {
  for (int number = first; number < first + count && !testing::Test::HasFailure(); ++number) {
    here.at("fork");
    pid_t child = 0;
    {
      const ForkGate::Fork alone(gate);
      child = startChild([&] { return work(number); });
    }
    here.at("waiting for the child");
    EXPECT_EQ(waitFor(child), exited(0)) << number;
  }
  here.at("");
}

CHILD_PROGRAM(ForksBeforeAndAfterTheServerComes) {
  const std::string &db = arguments.at(0);
  const int forks = std::stoi(arguments.at(1));
  Watchdog watchdog;
  WatchedThread here(watchdog, "forking");
  ForkGate gate;
  const Writers writers(db, gate, watchdog);
  forkOften(gate, here, 0, forks, [&](int number) { return workWithoutAServer(db, number); });
  std::cout << "ready" << std::endl;
  std::string go;
  std::getline(std::cin, go);
  forkOften(gate, here, forks, forks, [&](int number) { return doChildsWork(db, number); });
  return 0;
}

// Until its input ends.
CHILD_PROGRAM(AnnouncesBeats) {
  pollfd input{STDIN_FILENO, POLLIN, 0};
  while (poll(&input, 1, 1) == 0)
    EXPECT_EQ(orv_db_notify_change(arguments.at(0).c_str(), kBeats, ORV_DB_ACTION_UPDATE, 1), 0);
  return 0;
}

class LateServer : public StormTest {};

}  // namespace

TEST_F(LateServer, IsFoundByEveryChildThatIsForkedThen) {
  const int forks = countFromEnvironment("ORVDB_FORKS", 48) / 2;
  ChildProgram parent(ForksBeforeAndAfterTheServerComes, {db(), std::to_string(forks)});
  parent.waitForOutput("ready", std::chrono::hours(1));
  EXPECT_EQ(rowCount(kChildren), std::to_string(forks));

  startServer();
  ChildProgram beats(AnnouncesBeats, {db()});
  parent.writeInput("go\n");
  EXPECT_EQ(parent.wait(std::chrono::hours(1)), exited(0)) << parent.output();
  beats.closeInput();
  EXPECT_EQ(beats.wait(), exited(0)) << beats.output();
  EXPECT_EQ(rowCount(kChildren), std::to_string(2 * forks));
  std::cout << "figures: " << forks << " forks without a notification server, " << forks << " with one that came late"
            << std::endl;
}

// A process that logs, since its name begins with "QZ_", forks while two of its threads begin and commit transactions,
// which is logged. The log's lock is one more that a child could inherit locked for ever.
#include <atomic>

#include <iostream>
#include <set>

#include "stress/child_work.h"
#include "stress/fork_gate.h"
#include "stress/storm_fixture.h"
#include "stress/tables.h"
#include "support/process.h"
#include "support/system_log.h"
#include "support/watchdog.h"
#include "unit/core/child_name.h"
#include "unit/core/in_child.h"
#include "unit/core/writing_test.h"

namespace {

constexpr std::chrono::microseconds kPause{300};

// Gives 0 once the transaction is done, and with that logged.
int logTransaction(const Handle &handle, const char *table, int number) {
  if (!handle || orv_db_begin_transaction(handle.get()) != ORV_DB_OK) return 2;
  if (insertRow(handle, table, number) != ORV_DB_OK) return 3;
  return orv_db_commit_transaction(handle.get()) == ORV_DB_OK ? 0 : 4;
}

// Prints the process id of each child.
CHILD_PROGRAM(ForksBesideTransactions) {
  const std::string &db = arguments.at(0);
  Watchdog watchdog;
  WatchedThread here(watchdog, "forking");
  ForkGate gate;
  std::atomic<bool> enough{false};
  std::atomic<int> atWork{0};
  std::atomic<int> rows{0};
  std::vector<std::thread> threads(2);
  for (std::thread &thread : threads) {
    thread = std::thread([&] {
      WatchedThread me(watchdog, "transactions");
      const Handle handle = openHandle(db);
      for (++atWork; !enough; std::this_thread::sleep_for(kPause)) {
        me.at("transaction");
        const ForkGate::Step step(gate);
        EXPECT_EQ(logTransaction(handle, kWrittenTable, ++rows), 0) << orv_db_get_error_str();
      }
    });
  }
  EXPECT_TRUE(waitUntil([&] { return atWork == static_cast<int>(threads.size()); }));
  for (int number = 0; number < std::stoi(arguments.at(1)) && !testing::Test::HasFailure(); ++number) {
    here.at("fork");
    std::optional<pid_t> child;
    {
      const ForkGate::Fork alone(gate);
      child = startChild([&] {
        endWhenLate();
        return logTransaction(openHandle(db), kChildren, number);
      });
    }
    here.at("waiting for the child");
    EXPECT_EQ(waitFor(*child), exited(0));
    std::cout << *child << '\n';
  }
  enough = true;
  for (std::thread &thread : threads)
    thread.join();
  EXPECT_GT(rows, 0);
  return 0;
}

class LoggingForkStorm : public StormTest {
 protected:
  LoggingForkStorm() { startServer(); }

  // While the program runs, its log has to be read: whoever writes to a full one waits.
  std::string run(const RegisteredProgram &program, const ProgramArguments &arguments) {
    ChildProgram child(program, arguments, named("QZ_storm"));
    std::optional<Ending> ending;
    std::thread waiting([&] { ending = child.wait(std::chrono::hours(10)); });
    while (isRunning(child.pid()))
      log_.lines();
    waiting.join();
    EXPECT_EQ(ending, exited(0)) << child.output();
    return child.output();
  }

  // Of those lines in the log that a transaction's begin, or its commit, leaves with the process.
  std::multiset<std::string> processesThatLogged(const std::string &function) {
    std::multiset<std::string> processes;
    for (const std::string &text : log_.texts()) {
      const std::size_t place = text.find(" PID: ");
      if (text.find("[" + function + "] Process: QZ_storm,") == std::string::npos) continue;
      processes.insert(text.substr(place + 6, text.find(',', place) - place - 6));
    }
    return processes;
  }

  SystemLog log_;
};

}  // namespace

TEST_F(LoggingForkStorm, LetsEveryChildLogItsTransaction) {
  const int forks = countFromEnvironment("ORVDB_FORKS", 48);
  std::istringstream children(run(ForksBesideTransactions, {db(), std::to_string(forks)}));
  const auto begun = processesThatLogged("orv_db_begin_transaction");
  const auto committed = processesThatLogged("orv_db_commit_transaction");
  int count = 0;
  for (std::string process; std::getline(children, process); ++count) {
    EXPECT_GE(begun.count(process), 1U) << process;  // a number may be given out again
    EXPECT_GE(committed.count(process), 1U) << process;
  }
  EXPECT_EQ(count, forks);
  EXPECT_EQ(rowCount(kChildren), std::to_string(forks));
  EXPECT_EQ(std::to_string(begun.size()), admin().value(std::string("SELECT (SELECT COUNT(*) FROM ") + kChildren +
                                                        ") + (SELECT COUNT(*) FROM " + kWrittenTable + ")"));
  EXPECT_EQ(committed.size(), begun.size());
  std::cout << "figures: " << forks << " forks of a process that logs; " << begun.size() << " transactions logged"
            << std::endl;
}

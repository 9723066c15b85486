// A pool of worker processes that share out the table `orders`: worker k of N computes the totals of the orders whose
// numbers leave the remainder k when they are divided by N.
//
//   MYSQL_PWD=... worker_pool HOST USER DATABASE WORKERS
//
// Runs until SIGINT or SIGTERM; a worker that ends by itself is replaced. What a forked child has to mind:
//  - It opens a handle of its own and registers by itself: it inherits no registrations.
//  - It neither uses nor closes its parent's handle: it leaves by _exit(), which runs no destructors of its parent's.
//  - If no notification server runs when it is forked, its first announcement is what connects it later.
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <map>

#include "orvdb_owners.h"
#include "wake_up.h"

namespace {

bool tryToRegister(const char *database) {
  const int status = orv_db_register_callback(database, "orders", ORV_DB_ACTION_INSERT, nullptr, 0, wakeUpOnChange);
  if (status == ORV_DB_GONE) orv_db_notify_change(database, "nobody listens", ORV_DB_ACTION_ALL, kWholeTable);
  return status == ORV_DB_OK;
}

void computeTotals(const Handle &database, const std::string &share) {
  const Result orders = rawQuery(database, "SELECT _id, pieces * price FROM orders WHERE total IS NULL AND " + share);
  while (!endIsWanted && step(orders)) {
    const _orv_db_param_t id = uint64Param(rowIdColumn(orders, 0));
    const Values total = newValues();
    orv_db_content_put_int64(total.get(), "total", integerColumn(orders, 1));
    check(orv_db_update(database.get(), "orders", total.get(), "_id=?", &id, 1, nullptr), "store a total");
  }
}

void work(char **arguments, const std::string &share) {
  const Handle database = openDatabase(arguments[1], arguments[2], arguments[3]);
  for (bool isRegistered = false; !endIsWanted;) {
    if (!isRegistered) isRegistered = tryToRegister(arguments[3]);
    computeTotals(database, share);
    waitForWakeUp(isRegistered ? kSecondsTold : kSecondsUntold);
  }
}

pid_t startWorker(char **arguments, int k, int count) {
  const pid_t pool = getpid();
  const pid_t worker = fork();
  if (worker < 0) throw std::runtime_error("cannot fork");
  if (worker > 0) return worker;
  try {
    endOnSignals();
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    prctl(PR_SET_PDEATHSIG, SIGTERM);  // when the pool is killed
    if (getppid() == pool) work(arguments, "_id % " + std::to_string(count) + " = " + std::to_string(k));
    _exit(EXIT_SUCCESS);
  } catch (const std::exception &error) {
    std::fprintf(stderr, "worker %d: %s\n", k, error.what());
    _exit(EXIT_FAILURE);
  }
}

}  // namespace

int main(int argc, char **argv) try {
  const int count = argc == 5 ? std::atoi(argv[4]) : 0;
  if (count < 1) return std::fputs("Usage: worker_pool HOST USER DATABASE WORKERS\n", stderr), 2;
  sigset_t ends;
  sigemptyset(&ends);
  sigaddset(&ends, SIGINT);
  sigaddset(&ends, SIGTERM);
  sigset_t all = ends;
  sigaddset(&all, SIGCHLD);
  sigprocmask(SIG_BLOCK, &all, nullptr);  // waited for below
  const Handle database = openDatabase(argv[1], argv[2], argv[3]);
  std::map<pid_t, int> workers;
  for (int k = 0; k < count; ++k)
    workers[startWorker(argv, k, count)] = k;
  const timespec pause{1, 0};  // what fails at once would fail again and again
  for (int signal = 0; sigwait(&all, &signal) == 0 && signal == SIGCHLD && sigtimedwait(&ends, nullptr, &pause) < 0;) {
    for (pid_t ended = 0; (ended = waitpid(-1, nullptr, WNOHANG)) > 0;) {
      const int k = workers.extract(ended).mapped();
      workers[startWorker(argv, k, count)] = k;
    }
  }
  for (const auto &[worker, k] : workers)
    kill(worker, SIGTERM);
  for (const auto &[worker, k] : workers)
    waitpid(worker, nullptr, 0);
  const Result open = rawQuery(database, "SELECT COUNT(*) FROM orders WHERE total IS NULL");
  if (step(open)) std::printf("orders without total: %lld\n", integerColumn(open, 0));
  return 0;
} catch (const std::exception &error) {
  return std::fprintf(stderr, "worker_pool: %s\n", error.what()), 1;
}

// Jobs that any process hands in and that exactly one worker takes, in the table `jobs`.
//
//   MYSQL_PWD=... job_queue HOST USER DATABASE add TASK...
//   MYSQL_PWD=... job_queue HOST USER DATABASE work NAME
//
// A worker runs until SIGINT or SIGTERM; it finishes the job that it is at. No two may have the same NAME at a time.
//  - A job is claimed by one UPDATE of the first row that is free. The database lets one worker after the other change
//    it, so whoever comes second gets the next one. Who has got which job stands in the table alone.
//  - A worker that was killed, or never heard that its claim was done, finds its job when it looks for its own ones.
//    It does that job from the beginning, so a job must bear being done twice. A call that fails ends a worker, so
//    have it started again, by a service manager for example.
//  - Workers do not poll: the announcement of an insert wakes them. They look by themselves now and then, for the times
//    in which no notification server forwards anything.
#include <cstdio>
#include <iostream>
#include <optional>

#include "orvdb_owners.h"
#include "wake_up.h"

namespace {

struct Job {
  RowId id;
  std::string task;
};

void add(const Handle &database, const std::string &task) {
  const Values job = newValues();
  orv_db_content_put_text(job.get(), "task", task.c_str());
  check(orv_db_insert(database.get(), "jobs", job.get(), nullptr, nullptr), "add a job");
}

bool claimNext(const Handle &database, const std::string &worker) {
  const Values claim = newValues();
  orv_db_content_put_text(claim.get(), "claimed_by", worker.c_str());
  RowId claimed = 0;
  check(orv_db_update(database.get(), "jobs", claim.get(), "claimed_by IS NULL ORDER BY _id LIMIT 1", nullptr, 0,
                      &claimed),
        "claim a job");
  return claimed == 1;
}

std::optional<Job> findOwn(const Handle &database, const std::string &worker) {
  const char *columns[] = {"_id", "task"};
  const _orv_db_param_t name = textParam(worker);
  ResultSetInfo *found = nullptr;
  check(orv_db_query(database.get(), "jobs", columns, 2, "claimed_by=?", &name, 1, "_id", &found), "look for a job");
  const Result result(found);
  if (!step(result)) return std::nullopt;
  return Job{rowIdColumn(result, 0), textColumn(result, 1)};
}

// What a product does with a job stands here. Afterwards the job is gone.
void perform(const Handle &database, const Job &job) {
  std::cout << "done: " << job.task << std::endl;
  const _orv_db_param_t id = uint64Param(job.id);
  check(orv_db_delete(database.get(), "jobs", "_id=?", &id, 1, nullptr), "finish a job");
}

// False when there is nothing to do.
bool doNext(const Handle &database, const std::string &worker) {
  const std::optional<Job> job = findOwn(database, worker);
  if (!job) return claimNext(database, worker);
  perform(database, *job);
  return true;
}

bool tryToRegister(const char *database) {
  orv_db_retry_init();  // perhaps there was no notification server when this program began
  return orv_db_register_callback(database, "jobs", ORV_DB_ACTION_INSERT, nullptr, 0, wakeUpOnChange) == ORV_DB_OK;
}

void work(const Handle &database, const char *databaseName, const std::string &worker) {
  for (bool isRegistered = false; !endIsWanted;) {
    if (!isRegistered) isRegistered = tryToRegister(databaseName);
    while (!endIsWanted && doNext(database, worker))
      continue;
    waitForWakeUp(isRegistered ? kSecondsTold : kSecondsUntold);
  }
}

}  // namespace

int main(int argc, char **argv) try {
  const std::string command = argc > 5 ? argv[4] : "";
  if ((command != "add" && command != "work") || (command == "work" && argc > 6)) {
    return std::fputs("Usage: job_queue HOST USER DATABASE add TASK... | work NAME\n", stderr), 2;
  }
  endOnSignals();
  const Handle database = openDatabase(argv[1], argv[2], argv[3]);
  if (command == "work") work(database, argv[3], argv[5]);
  for (int i = 5; command == "add" && i < argc; ++i)
    add(database, argv[i]);
  return 0;
} catch (const std::exception &error) {
  return std::fprintf(stderr, "job_queue: %s\n", error.what()), 1;
}

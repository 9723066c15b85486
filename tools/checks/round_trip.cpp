#include "checks/round_trip.h"

#include <orvdb_client.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstring>
#include <mutex>

#include "statuses.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr char kSubject[] = "notification";
constexpr char kDatabase[] = "orvdb_doctor";  // of names alone: there is no such database
constexpr unsigned long long kRowId = 42;     // of the change that is awaited; the server's own reminders have 0
constexpr std::chrono::seconds kPatience{10};
constexpr std::chrono::milliseconds kHealthy{1000};

class Arrival {
 public:
  void note() {
    const std::lock_guard noting(mutex_);
    hasCome_ = true;
    arrived_.notify_all();
  }
  bool wait() {
    std::unique_lock waiting(mutex_);
    return arrived_.wait_for(waiting, kPatience, [this] { return hasCome_; });
  }

 private:
  std::mutex mutex_;
  std::condition_variable arrived_;
  bool hasCome_ = false;
};

// Never destroyed: the message thread may still be at it while the program ends.
Arrival &arrival() {
  static Arrival &change = *new Arrival;
  return change;
}

void noteChange(const char * /*db*/, const char * /*table*/, _orv_db_action_t /*action*/, unsigned long long rowId,
                void * /*data*/) {
  if (rowId == kRowId) arrival().note();
}

// This program again, so that everything is as in any other process. Returns 0 or what went wrong.
int startAnnouncer(const std::string &table, pid_t &process) {
  std::array<std::string, 7> words{"orvdb", "notify", "-d", kDatabase, table, "update", std::to_string(kRowId)};
  std::array<char *, words.size() + 1> arguments{};
  for (std::size_t i = 0; i < words.size(); ++i) {
    arguments[i] = words[i].data();
  }
  return posix_spawn(&process, "/proc/self/exe", nullptr, nullptr, arguments.data(), environ);
}

Finding judge(bool hasArrived, std::chrono::milliseconds took) {
  const std::string time = std::to_string(took.count()) + " ms";
  if (!hasArrived) {
    return {Level::kProblem, kSubject, "a change that another process announced did not arrive within " + time,
            "look at the log of orvdb_server, and at 'orvdb status'"};
  }
  return {took > kHealthy ? Level::kWarning : Level::kOk, kSubject,
          "a change that another process announced arrived after " + time,
          took > kHealthy ? "the machine is busy, or the notification server is: see 'orvdb status'" : ""};
}

Finding announceAndWait(const std::string &table) {
  const Clock::time_point begin = Clock::now();
  pid_t process = -1;
  if (const int error = startAnnouncer(table, process); error != 0) {
    return {Level::kProblem, kSubject, std::string("cannot start a second process: ") + std::strerror(error), ""};
  }
  const bool hasArrived = arrival().wait();
  const auto took = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - begin);
  waitpid(process, nullptr, 0);
  return judge(hasArrived, took);
}

}  // namespace

Finding checkRoundTrip() {
  const std::string table = "process_" + std::to_string(getpid());
  const int status = orv_db_register_callback(kDatabase, table.c_str(), ORV_DB_ACTION_ALL, nullptr, 0, noteChange);
  if (status != ORV_DB_OK) {
    return {Level::kProblem, kSubject, notificationProblem(status),
            "run orvdb_server once on this machine; until then nobody hears of changes, and writes work all the same"};
  }
  Finding finding = announceAndWait(table);
  orv_db_cancel_callback(kDatabase, table.c_str(), ORV_DB_ACTION_ALL);
  return finding;
}

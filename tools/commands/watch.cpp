#include "commands/watch.h"

#include <orvdb_client.h>
#include <poll.h>
#include <signal.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <iterator>
#include <limits>
#include <set>
#include <system_error>

#include "changes/change_line.h"
#include "changes/changes.h"
#include "changes/server_contact.h"
#include "exit_status.h"
#include "statuses.h"
#include "terminal/standard_output.h"
#include "terminal/text.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr char kGivenUp[] = "no notification server was found for 34 minutes, and the library has stopped looking";

// Called on the library's message thread.
void queueChange(const char *db, const char *table, _orv_db_action_t action, unsigned long long rowId, void *queue) {
  static_cast<ChangeQueue *>(queue)->push(
      {std::chrono::system_clock::now(), db, table, static_cast<unsigned int>(action), rowId});
}

// Never destroyed: the message thread may come with one more change while the program ends.
ChangeQueue &changeQueue() {
  static ChangeQueue &queue = *new ChangeQueue;
  return queue;
}

// The signals by which a user ends the program are read from a descriptor; the message thread blocks them anyway.
Descriptor takeEndingSignals() {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGINT);
  sigaddset(&signals, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  const int descriptor = signalfd(-1, &signals, SFD_CLOEXEC);
  if (descriptor < 0) throw std::system_error(errno, std::generic_category(), "signalfd");
  return Descriptor(descriptor);
}

class Watch {
 public:
  explicit Watch(const WatchOptions &options)
      : options_(options), tables_(options.tables.begin(), options.tables.end()) {}

  int run() {
    registerTables();
    if (options_.timeout) deadline_ = Clock::now() + std::chrono::duration_cast<Clock::duration>(*options_.timeout);
    keepAnEyeOnServer(changeQueue());
    for (bool goesOn = true; goesOn && !isComplete();) {
      goesOn = wait();
      printChanges();  // what came before the end, too
      if (changeQueue().isClosed()) throw Failure(kGivenUp);
    }
    return options_.count && hasTimedOut_ && !isComplete() ? tooFew() : kDone;
  }

 private:
  void registerTables() const;
  // False when it is time to end.
  bool wait();
  int pollTimeout() const;
  void printChanges();
  bool isComplete() const { return options_.count && printed_ >= *options_.count; }
  int tooFew() const;

  const WatchOptions &options_;
  const std::set<std::string> tables_;
  const Descriptor signals_ = takeEndingSignals();
  std::optional<Clock::time_point> deadline_;
  unsigned long long printed_ = 0;
  bool hasTimedOut_ = false;
};

void Watch::registerTables() const {
  std::string names;
  for (const std::string &table : tables_) {
    const std::string name = options_.database + "." + table;
    const int status =
        orv_db_register_callback(options_.database.c_str(), table.c_str(),
                                 static_cast<_orv_db_action_t>(options_.actions), &changeQueue(), 0, queueChange);
    if (status != ORV_DB_OK) throw Failure("cannot watch " + name + ": " + notificationProblem(status));
    names += (names.empty() ? "" : ", ") + name;
  }
  std::fprintf(stderr, "watching %s\n", printable(names).c_str());
}

bool Watch::wait() {
  // Of standard output only errors are asked for: they say that a pipe's reader is gone.
  pollfd sources[] = {{changeQueue().descriptor(), POLLIN, 0}, {signals_.get(), POLLIN, 0}, {STDOUT_FILENO, 0, 0}};
  const int ready = poll(sources, std::size(sources), pollTimeout());
  if (ready < 0 && errno != EINTR) throw std::system_error(errno, std::generic_category(), "poll");
  hasTimedOut_ = deadline_ && Clock::now() >= *deadline_;  // though changes may come without a pause
  return !hasTimedOut_ && sources[1].revents == 0 && sources[2].revents == 0;
}

// In milliseconds, rounded up.
int Watch::pollTimeout() const {
  if (!deadline_) return -1;
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(*deadline_ - Clock::now()).count();
  return static_cast<int>(std::clamp<decltype(left)>(left, 0, std::numeric_limits<int>::max()));
}

void Watch::printChanges() {
  std::size_t tableWidth = 0;
  for (const std::string &table : tables_) {
    tableWidth = std::max(tableWidth, displayWidth(printable(table)));
  }
  for (const Change &change : changeQueue().takeAll()) {
    if (isComplete()) return;
    const std::string line = options_.isJson ? changeAsJson(change) : changeForPeople(change, tableWidth);
    std::printf("%s\n", line.c_str());
    finishOutput();
    ++printed_;
  }
}

int Watch::tooFew() const {
  std::fprintf(stderr, "orvdb: %llu of %llu changes came in time\n", printed_, *options_.count);
  return kTimedOut;
}

}  // namespace

int watch(const WatchOptions &options) {
  if (options.count == 0) throw WrongUsage("--count takes 1 at least");
  checkName("database", options.database);
  for (const std::string &table : options.tables) {
    checkName("table", table);
  }
  return Watch(options).run();
}

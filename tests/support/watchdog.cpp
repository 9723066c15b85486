#include "support/watchdog.h"

#include <execinfo.h>
#include <signal.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kSignal = SIGUSR2;
std::atomic<int> s_stacks{0};

// On the thread whose stack it is.
void printStack(int) {
  void *addresses[64];
  backtrace_symbols_fd(addresses, backtrace(addresses, 64), STDERR_FILENO);
  ++s_stacks;
}

// backtrace() allocates when it is called for the first time, so that is now.
void preparePrinting() {
  void *address = nullptr;
  backtrace(&address, 1);
  struct sigaction action {};
  action.sa_handler = printStack;
  action.sa_flags = SA_RESTART;
  sigaction(kSignal, &action, nullptr);
}

// One after the other, each in one piece. A thread that does not answer has blocked all signals.
void printStackOf(pid_t thread) {
  const int before = s_stacks;
  syscall(SYS_tgkill, getpid(), thread, kSignal);
  waitUntil([&] { return s_stacks > before; }, std::chrono::seconds(2));
}

}  // namespace

Watchdog::Watchdog(std::chrono::seconds patience) : patience_(patience) {
  preparePrinting();
  thread_ = std::thread([this] { run(); });
}

Watchdog::~Watchdog() {
  {
    const std::lock_guard<std::mutex> ending(mutex_);
    isOver_ = true;
  }
  over_.notify_one();
  thread_.join();
}

void Watchdog::run() {
  std::unique_lock<std::mutex> watching(mutex_);
  while (!over_.wait_for(watching, std::chrono::milliseconds(200), [this] { return isOver_; })) {
    if (const Entry *late = latecomer(); late != nullptr) giveUp(*late);
  }
}

const Watchdog::Entry *Watchdog::latecomer() const {
  const Clock::rep latest = (Clock::now() - patience_).time_since_epoch().count();
  for (const Entry &entry : entries_) {
    if (*entry.place != '\0' && entry.since < latest) return &entry;
  }
  return nullptr;
}

void Watchdog::giveUp(const Entry &late) const {
  std::fprintf(stderr, "watchdog: '%s' has been at '%s' for too long\n", late.name.c_str(), late.place.load());
  for (const Entry &entry : entries_) {
    const Clock::duration stay = Clock::now().time_since_epoch() - Clock::duration(entry.since);
    std::fprintf(stderr, "watchdog: '%s' at '%s' for %.1f s\n", entry.name.c_str(), entry.place.load(),
                 std::chrono::duration<double>(stay).count());
    printStackOf(entry.thread);
  }
  std::abort();
}

WatchedThread::WatchedThread(Watchdog &watchdog, std::string name) : watchdog_(watchdog) {
  const std::lock_guard<std::mutex> adding(watchdog_.mutex_);
  entry_ = watchdog_.entries_.emplace(watchdog_.entries_.end());
  entry_->name = std::move(name);
  entry_->thread = static_cast<pid_t>(syscall(SYS_gettid));
}

WatchedThread::~WatchedThread() {
  const std::lock_guard<std::mutex> removing(watchdog_.mutex_);
  watchdog_.entries_.erase(entry_);
}

void WatchedThread::at(const char *place) {
  entry_->since = Clock::now().time_since_epoch().count();
  entry_->place = place;
}

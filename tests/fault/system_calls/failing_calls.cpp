#include "fault/system_calls/failing_calls.h"

#include <poll.h>
#include <pthread.h>
#include <semaphore.h>
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <ctime>

#include "event/deadline.h"
#include "support/wait.h"

namespace {

constexpr time_t kReplyPatienceSeconds = 60;

// Set before the first thread is there.
struct Plan {
  Fault fault{};
  int nth = 0;
};
Plan s_plan;
std::atomic<int> s_calls{0};
std::atomic<bool> s_fallen{false};
thread_local bool t_watched = false;

std::atomic<int> s_threads{0};
std::atomic<bool> s_exiting{false};
std::atomic<int> s_polls{0};
std::atomic<bool> s_inPoll{false};
std::atomic<bool> s_replyAwaited{false};

// What a call is to do.
struct Turn {
  int error = 0;
  int bytes = kWholly;
};

bool onMainThread() { return gettid() == getpid(); }

void letMessageThreadEnd() {
  constexpr std::chrono::seconds kLongerThanItTakes{5};
  if (s_exiting && onMainThread()) waitUntil([] { return s_threads == 0; }, kLongerThanItTakes);
}

Turn turnOf(const char *call) {
  if (!t_watched || s_plan.nth == 0 || std::strcmp(call, s_plan.fault.call) != 0) return {};
  const Fault &fault = s_plan.fault;
  const int number = ++s_calls;
  const bool torn = fault.error != 0 && fault.bytes != kWholly;
  if (torn && number == s_plan.nth + 1) return {fault.error, kWholly};
  if (number != s_plan.nth && !(fault.forGood && number > s_plan.nth)) return {};
  s_fallen = true;
  if (s_plan.fault.consequence != Fault::exitWaitsInVain) letMessageThreadEnd();
  return {torn ? 0 : fault.error, fault.bytes};
}

// As system calls fail.
template <class Real>
auto perform(const char *call, Real real) -> decltype(real()) {
  const int error = turnOf(call).error;
  if (error == 0) return real();
  errno = error;
  return -1;
}

// As functions of threads fail.
template <class Real>
int performThreadFunction(const char *call, Real real) {
  const int error = turnOf(call).error;
  return error != 0 ? error : real();
}

template <class Real>
ssize_t transfer(const char *call, size_t length, Real real) {
  const Turn turn = turnOf(call);
  if (turn.error != 0) {
    errno = turn.error;
    return -1;
  }
  if (turn.bytes == 0) return 0;
  return real(turn.bytes == kWholly ? length : std::min(length, static_cast<size_t>(turn.bytes)));
}

struct ThreadStart {
  void *(*body)(void *);
  void *argument;
};

// The client's thread is watched from its first call on.
void *runWatched(void *start) {
  const ThreadStart thread = *static_cast<ThreadStart *>(start);
  delete static_cast<ThreadStart *>(start);
  watchThisThread(true);
  ++s_threads;
  void *const result = thread.body(thread.argument);
  --s_threads;
  return result;
}

}  // namespace

void planFault(const Fault &fault, int nth) { s_plan = {fault, nth}; }
bool faultHasFallen() { return s_fallen; }
void watchThisThread(bool watched) { t_watched = watched; }
void watchTheExit() {
  s_exiting = true;
  watchThisThread(true);
}
int clientThreads() { return s_threads; }
PollState pollState() { return {s_polls, s_inPoll}; }
bool replyIsAwaited() { return s_replyAwaited; }
void forgetAwaitedReply() { s_replyAwaited = false; }

extern "C" {

int __real_sigaction(int number, const struct sigaction *action, struct sigaction *before);
int __wrap_sigaction(int number, const struct sigaction *action, struct sigaction *before) {
  return perform("sigaction", [=] { return __real_sigaction(number, action, before); });
}

int __real_pthread_sigmask(int how, const sigset_t *set, sigset_t *before);
int __wrap_pthread_sigmask(int how, const sigset_t *set, sigset_t *before) {
  return performThreadFunction("pthread_sigmask", [=] { return __real_pthread_sigmask(how, set, before); });
}

int __real_pipe2(int *ends, int flags);
int __wrap_pipe2(int *ends, int flags) {
  return perform("pipe2", [=] { return __real_pipe2(ends, flags); });
}

int __real_socket(int domain, int type, int protocol);
int __wrap_socket(int domain, int type, int protocol) {
  return perform("socket", [=] { return __real_socket(domain, type, protocol); });
}

int __real_connect(int fd, const sockaddr *address, socklen_t length);
int __wrap_connect(int fd, const sockaddr *address, socklen_t length) {
  return perform("connect", [=] { return __real_connect(fd, address, length); });
}

int __real_pthread_create(pthread_t *thread, const pthread_attr_t *attributes, void *(*body)(void *), void *argument);
int __wrap_pthread_create(pthread_t *thread, const pthread_attr_t *attributes, void *(*body)(void *), void *argument) {
  if (!t_watched) return __real_pthread_create(thread, attributes, body, argument);
  return performThreadFunction("pthread_create", [=] {
    return __real_pthread_create(thread, attributes, runWatched, new ThreadStart{body, argument});
  });
}

int __real_pthread_kill(pthread_t thread, int signal);
int __wrap_pthread_kill(pthread_t thread, int signal) {
  return performThreadFunction("pthread_kill", [=] { return __real_pthread_kill(thread, signal); });
}

ssize_t __real_write(int fd, const void *bytes, size_t length);
ssize_t __wrap_write(int fd, const void *bytes, size_t length) {
  return transfer("write", length, [=](size_t count) { return __real_write(fd, bytes, count); });
}

ssize_t __real_read(int fd, void *buffer, size_t length);
ssize_t __wrap_read(int fd, void *buffer, size_t length) {
  return transfer("read", length, [=](size_t count) { return __real_read(fd, buffer, count); });
}

// A descriptor is gone whatever the call says. Looking at the threads orders this behind the end of one.
int __real_close(int fd);
int __wrap_close(int fd) {
  [[maybe_unused]] const int seen = s_threads;
  const int result = __real_close(fd);
  return perform("close", [=] { return result; });
}

int __real_sem_timedwait(sem_t *semaphore, const timespec *deadline);
int __wrap_sem_timedwait(sem_t *semaphore, const timespec *) {
  s_replyAwaited = true;
  return perform("sem_timedwait", [=] {
    const timespec late = deadlineAfter(kReplyPatienceSeconds);
    return __real_sem_timedwait(semaphore, &late);
  });
}

int __real_poll(pollfd *entries, nfds_t count, int timeout);
int __wrap_poll(pollfd *entries, nfds_t count, int timeout) {
  if (!t_watched || onMainThread()) return perform("poll", [=] { return __real_poll(entries, count, timeout); });
  return perform("poll", [=] {
    ++s_polls;
    s_inPoll = true;
    const int ready = __real_poll(entries, count, timeout);
    s_inPoll = false;
    return ready;
  });
}

int __real_nanosleep(const timespec *pause, timespec *left);
int __wrap_nanosleep(const timespec *pause, timespec *left) {
  if (!t_watched || onMainThread()) return __real_nanosleep(pause, left);
  return perform("nanosleep", [] { return 0; });
}
}

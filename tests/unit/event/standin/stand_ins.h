// Stand-ins for system calls that the notification client makes, and for memory: what a real system does only rarely,
// or only after minutes. The executable is linked with --wrap for each of these calls; as long as a test has set no
// script, the real call is made.
//
//   standIns.pipe.play([](int *, int) { return failWith(EMFILE); });
//   EXPECT_EQ(orv_db_retry_init(), 1);
//
// A script may be called on the message thread at any time, after the test's end too: it owns what it uses.
#pragma once

#include <poll.h>
#include <pthread.h>
#include <semaphore.h>
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <ctime>
#include <deque>
#include <functional>

template <class Signature>
class StandIn;

template <class Result, class... Arguments>
class StandIn<Result(Arguments...)> {
 public:
  using Script = std::function<Result(Arguments...)>;

  void play(Script script) {
    static std::deque<Script> &kept = *new std::deque<Script>;
    script_ = &kept.emplace_back(std::move(script));
  }
  void end() { script_ = nullptr; }
  const Script *script() const { return script_; }

 private:
  std::atomic<const Script *> script_{nullptr};
};

struct StandIns {
  StandIn<int(clockid_t, timespec *)> clock;
  StandIn<int(int, const struct sigaction *, struct sigaction *)> signalAction;
  StandIn<int(int, const sigset_t *, sigset_t *)> signalMask;
  StandIn<int(int *, int)> pipe;
  StandIn<int(int, int, int)> socket;
  StandIn<int(int, const sockaddr *, socklen_t)> connect;
  StandIn<int(pthread_t *, const pthread_attr_t *, void *(*)(void *), void *)> createThread;
  StandIn<ssize_t(int, const void *, size_t)> write;
  StandIn<ssize_t(int, void *, size_t)> read;
  StandIn<int(sem_t *, const timespec *)> timedWait;
  // These two on other threads than the main one: tests wait, too.
  StandIn<int(pollfd *, nfds_t, int)> poll;
  StandIn<int(const timespec *, timespec *)> sleep;
};
extern StandIns standIns;

// The result of a call that fails.
inline int failWith(int error) {
  errno = error;
  return -1;
}

extern "C" {
int __real_sigaction(int number, const struct sigaction *action, struct sigaction *before);
int __real_pthread_sigmask(int how, const sigset_t *set, sigset_t *before);
int __real_connect(int fd, const sockaddr *address, socklen_t length);
int __real_pthread_create(pthread_t *thread, const pthread_attr_t *attributes, void *(*body)(void *), void *argument);
ssize_t __real_write(int fd, const void *bytes, size_t length);
ssize_t __real_read(int fd, void *buffer, size_t length);
int __real_sem_timedwait(sem_t *semaphore, const timespec *deadline);
int __real_poll(pollfd *entries, nfds_t count, int timeout);
int __real_nanosleep(const timespec *pause, timespec *left);
}

// Makes one allocation of this thread fail: the one after `others` that succeed.
void failAllocation(int others = 0);
// Whether that has happened; if not, it is called off.
bool allocationHasFailed();
// A child program's environment may name an allocation that fails while the library is loaded: "NAME=number".
constexpr char kFailAllocationAtLoad[] = "ORVDB_TEST_FAIL_ALLOCATION_AT_LOAD";

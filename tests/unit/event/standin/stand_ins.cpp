#include "standin/stand_ins.h"

#include <sys/types.h>

StandIns standIns;

namespace {

bool onMainThread() { return gettid() == getpid(); }

template <class Signature, class Real, class... Arguments>
auto perform(const StandIn<Signature> &standIn, Real real, Arguments... arguments) {
  const auto *script = standIn.script();
  return script != nullptr ? (*script)(arguments...) : real(arguments...);
}

}  // namespace

extern "C" {

int __real_clock_gettime(clockid_t clock, timespec *now);
int __real_pipe2(int *ends, int flags);
int __real_socket(int domain, int type, int protocol);

int __wrap_clock_gettime(clockid_t clock, timespec *now) {
  return perform(standIns.clock, __real_clock_gettime, clock, now);
}
int __wrap_sigaction(int number, const struct sigaction *action, struct sigaction *before) {
  return perform(standIns.signalAction, __real_sigaction, number, action, before);
}
int __wrap_pthread_sigmask(int how, const sigset_t *set, sigset_t *before) {
  return perform(standIns.signalMask, __real_pthread_sigmask, how, set, before);
}
int __wrap_pipe2(int *ends, int flags) { return perform(standIns.pipe, __real_pipe2, ends, flags); }
int __wrap_socket(int domain, int type, int protocol) {
  return perform(standIns.socket, __real_socket, domain, type, protocol);
}
int __wrap_connect(int fd, const sockaddr *address, socklen_t length) {
  return perform(standIns.connect, __real_connect, fd, address, length);
}
int __wrap_pthread_create(pthread_t *thread, const pthread_attr_t *attributes, void *(*body)(void *), void *argument) {
  return perform(standIns.createThread, __real_pthread_create, thread, attributes, body, argument);
}
ssize_t __wrap_write(int fd, const void *bytes, size_t length) {
  return perform(standIns.write, __real_write, fd, bytes, length);
}
ssize_t __wrap_read(int fd, void *buffer, size_t length) {
  return perform(standIns.read, __real_read, fd, buffer, length);
}
int __wrap_sem_timedwait(sem_t *semaphore, const timespec *deadline) {
  return perform(standIns.timedWait, __real_sem_timedwait, semaphore, deadline);
}
int __wrap_poll(pollfd *entries, nfds_t count, int timeout) {
  return onMainThread() ? __real_poll(entries, count, timeout)
                        : perform(standIns.poll, __real_poll, entries, count, timeout);
}
int __wrap_nanosleep(const timespec *pause, timespec *left) {
  return onMainThread() ? __real_nanosleep(pause, left) : perform(standIns.sleep, __real_nanosleep, pause, left);
}
}

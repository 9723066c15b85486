#include "fault/system_calls/faults.h"

#include <cerrno>

namespace {

Fault fails(const char *call, const char *name, int error, Fault::Consequence consequence) {
  return {call, name, consequence, error};
}

// The second and third call put signals aside for the new thread, and back.
Fault onlyTheFirst(Fault fault) {
  fault.occurrences = 1;
  return fault;
}

Fault doesPart(const char *call, const char *name, int bytes, Fault::Consequence consequence) {
  return {call, name, consequence, 0, bytes};
}

Fault doesPartForGood(const char *call, const char *name, int bytes) {
  return {call, name, Fault::unnoticed, 0, bytes, true};
}

// A part, and then a failure.
Fault isTorn(const char *call, const char *name, int bytes, Fault::Consequence consequence) {
  return {call, name, consequence, EIO, bytes};
}

}  // namespace

const std::vector<Fault> &faults() {
  static const std::vector<Fault> all = {
      fails("sigaction", "EINVAL", EINVAL, Fault::startFails),
      onlyTheFirst(fails("pthread_sigmask", "EINVAL", EINVAL, Fault::startFails)),
      fails("pipe2", "EMFILE", EMFILE, Fault::startFails),
      fails("pipe2", "ENFILE", ENFILE, Fault::startFails),
      fails("socket", "EMFILE", EMFILE, Fault::startFails),
      fails("socket", "ENOBUFS", ENOBUFS, Fault::startFails),
      fails("connect", "ECONNREFUSED", ECONNREFUSED, Fault::startFails),
      fails("connect", "ENOENT", ENOENT, Fault::startFails),
      fails("connect", "EINTR", EINTR, Fault::startFails),
      fails("connect", "EAGAIN", EAGAIN, Fault::startFails),
      fails("pthread_create", "EAGAIN", EAGAIN, Fault::startFails),
      fails("poll", "EINTR", EINTR, Fault::unnoticed),
      fails("poll", "ENOMEM", ENOMEM, Fault::threadEnds),
      fails("poll", "EINVAL", EINVAL, Fault::threadEnds),
      fails("read", "EINTR", EINTR, Fault::unnoticed),
      fails("read", "EAGAIN", EAGAIN, Fault::connectionIsLost),
      fails("read", "EIO", EIO, Fault::connectionIsLost),
      fails("read", "ECONNRESET", ECONNRESET, Fault::connectionIsLost),
      doesPart("read", "Nothing", 0, Fault::connectionIsLost),
      doesPart("read", "OneByte", 1, Fault::unnoticed),
      doesPart("read", "AllButOneByte", 140, Fault::unnoticed),
      doesPartForGood("read", "OneByteAtATime", 1),
      isTorn("read", "PartAndThenEIO", 70, Fault::connectionIsLost),
      fails("write", "EINTR", EINTR, Fault::unnoticed),
      fails("write", "EAGAIN", EAGAIN, Fault::sendingFails),
      fails("write", "EPIPE", EPIPE, Fault::sendingFails),
      doesPart("write", "Nothing", 0, Fault::sendingFails),
      doesPart("write", "OneByte", 1, Fault::unnoticed),
      doesPart("write", "AllButOneByte", 140, Fault::unnoticed),
      doesPartForGood("write", "OneByteAtATime", 1),
      isTorn("write", "PartAndThenEIO", 70, Fault::sendingFails),
      fails("sem_timedwait", "EINTR", EINTR, Fault::unnoticed),
      fails("sem_timedwait", "EINVAL", EINVAL, Fault::waitEnds),
      fails("sem_timedwait", "ETIMEDOUT", ETIMEDOUT, Fault::waitEnds),
      fails("nanosleep", "EINTR", EINTR, Fault::unnoticed),
      fails("nanosleep", "EINVAL", EINVAL, Fault::unnoticed),
      fails("close", "EINTR", EINTR, Fault::unnoticed),
      fails("close", "EIO", EIO, Fault::unnoticed),
      fails("pthread_kill", "ESRCH", ESRCH, Fault::exitWaitsInVain),
  };
  return all;
}

std::string nameOf(const Fault &fault) { return std::string(fault.call) + '_' + fault.name; }

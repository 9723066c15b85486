// The library's locks on their way to the C library, which are noted among the calls of the client library; see the
// linker's option --wrap.
#include <pthread.h>

#include "core/handle.h"
#include "core/locks.h"
#include "fault/client_library.h"
#include "fault/failing_call.h"

namespace {

// Empty for locks that are of no interest.
const char *nameOf(const void *lock) {
  if (lock == s_pOpenMutex) return "open";
  if (lock == s_pConnInfoLock) return "registry";
  if (lock == s_pRawSetPoolMutex) return "raw pool";
  if (lock == s_pStmtSetPoolMutex) return "statement pool";
  for (const auto &[connection, state] : client().connections) {
    if (lock == &reinterpret_cast<const _orv_db_handle_t *>(connection)->lock) return "handle";
  }
  return "";
}

void note(const char *action, const void *lock) {
  if (!isWatchedThread()) return;
  const NoFailures calm;
  const std::string name = nameOf(lock);
  if (!name.empty()) client().note(std::string(action) + ' ' + name);
}

}  // namespace

extern "C" {

int __real_pthread_mutex_lock(pthread_mutex_t *lock);
int __wrap_pthread_mutex_lock(pthread_mutex_t *lock) {
  const int result = __real_pthread_mutex_lock(lock);
  note("lock", lock);
  return result;
}

int __real_pthread_mutex_unlock(pthread_mutex_t *lock);
int __wrap_pthread_mutex_unlock(pthread_mutex_t *lock) {
  note("unlock", lock);
  return __real_pthread_mutex_unlock(lock);
}

int __real_pthread_rwlock_rdlock(pthread_rwlock_t *lock);
int __wrap_pthread_rwlock_rdlock(pthread_rwlock_t *lock) {
  const int result = __real_pthread_rwlock_rdlock(lock);
  note("read-lock", lock);
  return result;
}

int __real_pthread_rwlock_wrlock(pthread_rwlock_t *lock);
int __wrap_pthread_rwlock_wrlock(pthread_rwlock_t *lock) {
  const int result = __real_pthread_rwlock_wrlock(lock);
  note("write-lock", lock);
  return result;
}

int __real_pthread_rwlock_unlock(pthread_rwlock_t *lock);
int __wrap_pthread_rwlock_unlock(pthread_rwlock_t *lock) {
  note("unlock", lock);
  return __real_pthread_rwlock_unlock(lock);
}
}

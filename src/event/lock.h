// POSIX locks with default attributes, and guards for them.
//
// The library's own locks live on the heap behind pointers, because a forked child replaces locks that are held in it
// and can never be released there. Guards therefore take a pointer and remember it.
//
// Clang checks the annotations, the order of the locks included (-Wthread-safety -Wthread-safety-beta); for other
// compilers they are empty. Clang looks at one function at a time: what a function takes and releases is known to its
// callers by ORV_EXCLUDES alone, which names the locks that it takes and those that come after them.
#pragma once

#include <pthread.h>

#include <ctime>

#if defined(__clang__)
#define ORV_THREAD_SAFETY(x) __attribute__((x))
#else
#define ORV_THREAD_SAFETY(x)
#endif
#define ORV_CAPABILITY(name) ORV_THREAD_SAFETY(capability(name))
#define ORV_SCOPED_LOCK ORV_THREAD_SAFETY(scoped_lockable)
#define ORV_GUARDED_BY(lock) ORV_THREAD_SAFETY(guarded_by(lock))
#define ORV_ACQUIRED_AFTER(...) ORV_THREAD_SAFETY(acquired_after(__VA_ARGS__))
#define ORV_ACQUIRED_BEFORE(...) ORV_THREAD_SAFETY(acquired_before(__VA_ARGS__))
#define ORV_ACQUIRE(...) ORV_THREAD_SAFETY(acquire_capability(__VA_ARGS__))
#define ORV_ACQUIRE_SHARED(...) ORV_THREAD_SAFETY(acquire_shared_capability(__VA_ARGS__))
#define ORV_TRY_ACQUIRE(...) ORV_THREAD_SAFETY(try_acquire_capability(__VA_ARGS__))
#define ORV_RELEASE(...) ORV_THREAD_SAFETY(release_capability(__VA_ARGS__))
#define ORV_RELEASE_ANY(...) ORV_THREAD_SAFETY(release_generic_capability(__VA_ARGS__))
#define ORV_REQUIRES(...) ORV_THREAD_SAFETY(requires_capability(__VA_ARGS__))
#define ORV_REQUIRES_SHARED(...) ORV_THREAD_SAFETY(requires_shared_capability(__VA_ARGS__))
#define ORV_EXCLUDES(...) ORV_THREAD_SAFETY(locks_excluded(__VA_ARGS__))
#define ORV_UNCHECKED ORV_THREAD_SAFETY(no_thread_safety_analysis)

// Has no constructor, so that it can stand in a zero-filled structure of C: init() comes before everything else.
// cppcheck-suppress noConstructor
class ORV_CAPABILITY("mutex") mutex {
 public:
  static mutex *create() {
    auto *created = new mutex;
    created->init();
    return created;
  }
  void init() { pthread_mutex_init(&m_native, nullptr); }
  void lock() ORV_ACQUIRE() { pthread_mutex_lock(&m_native); }
  bool tryLock() ORV_TRY_ACQUIRE(true) { return pthread_mutex_trylock(&m_native) == 0; }
  bool lockBefore(const timespec &deadline) ORV_TRY_ACQUIRE(true) {
    return pthread_mutex_timedlock(&m_native, &deadline) == 0;
  }
  void unlock() ORV_RELEASE() { pthread_mutex_unlock(&m_native); }

 private:
  pthread_mutex_t m_native;
};

class ORV_CAPABILITY("mutex") rw_lock {
 public:
  static rw_lock *create() { return new rw_lock; }
  void lock() ORV_ACQUIRE() { pthread_rwlock_wrlock(&m_native); }
  bool tryLock() ORV_TRY_ACQUIRE(true) { return pthread_rwlock_trywrlock(&m_native) == 0; }
  void lockShared() ORV_ACQUIRE_SHARED() { pthread_rwlock_rdlock(&m_native); }
  void unlock() ORV_RELEASE_ANY() { pthread_rwlock_unlock(&m_native); }

 private:
  rw_lock() { pthread_rwlock_init(&m_native, nullptr); }
  pthread_rwlock_t m_native;
};

class ORV_SCOPED_LOCK mutex_guard {
 public:
  explicit mutex_guard(mutex *lock) ORV_ACQUIRE(lock) : m_lock(lock) { m_lock->lock(); }
  ~mutex_guard() ORV_RELEASE() { m_lock->unlock(); }
  mutex_guard(const mutex_guard &) = delete;
  mutex_guard &operator=(const mutex_guard &) = delete;

 private:
  mutex *const m_lock;
};

class ORV_SCOPED_LOCK read_guard {
 public:
  explicit read_guard(rw_lock *lock) ORV_ACQUIRE_SHARED(lock) : m_lock(lock) { m_lock->lockShared(); }
  ~read_guard() ORV_RELEASE() { m_lock->unlock(); }
  read_guard(const read_guard &) = delete;
  read_guard &operator=(const read_guard &) = delete;

 private:
  rw_lock *const m_lock;
};

class ORV_SCOPED_LOCK write_guard {
 public:
  explicit write_guard(rw_lock *lock) ORV_ACQUIRE(lock) : m_lock(lock) { m_lock->lock(); }
  ~write_guard() ORV_RELEASE() { m_lock->unlock(); }
  write_guard(const write_guard &) = delete;
  write_guard &operator=(const write_guard &) = delete;

 private:
  rw_lock *const m_lock;
};

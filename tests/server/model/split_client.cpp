#include "server/model/split_client.h"

#include <algorithm>
#include <cstring>

#include "unit/event/event_mgr_access.h"

#ifdef __SANITIZE_THREAD__
#include <sanitizer/tsan_interface.h>
#else
// ThreadSanitizer has to be told which stack is in use.
namespace {
void *__tsan_get_current_fiber() { return nullptr; }
void *__tsan_create_fiber(unsigned) { return nullptr; }
void __tsan_destroy_fiber(void *) {}
void __tsan_switch_to_fiber(void *, unsigned) {}
}  // namespace
#endif

namespace {

constexpr char kDb[] = "shop";
constexpr std::size_t kStackSize = 256 * 1024;
constexpr int kNoSocket = 1'000'000;  // a descriptor that is never written to

void callback(const char *, const char *, _orv_db_action_t, unsigned long long, void *) {}
void otherCallback(const char *, const char *, _orv_db_action_t, unsigned long long, void *) {}
int s_userData = 0;

}  // namespace

SplitClient *SplitClient::s_current = nullptr;

SplitClient::SplitClient(std::size_t threads) : m_schedulerFiber(__tsan_get_current_fiber()) {
  s_current = this;
  EventMgr::setSocket(kNoSocket);
  EventMgr::setRunning(true);
  for (std::size_t i = 0; i < threads; ++i) {
    Thread &made = *m_threads.emplace_back(std::make_unique<Thread>());
    made.stack.resize(kStackSize);
    made.fiber = __tsan_create_fiber(0);
    getcontext(&made.context);
    made.context.uc_stack.ss_sp = made.stack.data();
    made.context.uc_stack.ss_size = made.stack.size();
    makecontext(&made.context, &SplitClient::runThread, 0);
  }
}

SplitClient::~SplitClient() {
  EventMgr::setRunning(false);
  EventMgr::setSocket(-1);
  EventMgr::clearRegistry();
  for (const auto &thread : m_threads)
    __tsan_destroy_fiber(thread->fiber);
  s_current = nullptr;
}

void SplitClient::restart(Sent sent) {
  EventMgr::clearRegistry();
  m_sent = std::move(sent);
}

bool SplitClient::isIdle() const {
  return std::all_of(m_threads.begin(), m_threads.end(), [](const auto &thread) { return thread->isIdle; });
}

bool SplitClient::canRegister() const {
  return std::none_of(m_threads.begin(), m_threads.end(), [](const auto &thread) { return thread->awaitsReply; });
}

void SplitClient::begin(std::size_t thread, const Operation &operation) {
  m_threads[thread]->operation = operation;
  m_threads[thread]->isIdle = false;
  run(thread);
}

void SplitClient::advance(std::size_t thread) { run(thread); }

int SplitClient::actions(int table) { return EventMgr::registeredActions(kDb, tableName(table).c_str()); }

// --- on the simulated threads ----------------------------------------------------------------------------------------

void SplitClient::runThread() {
  for (;;) {
    Thread &self = *s_current->m_running;
    const std::string table = tableName(self.operation.table);
    const auto action = static_cast<_orv_db_action_t>(self.operation.mask);
    if (self.operation.isCancellation) {
      EventMgr::manager().cancelCallback(kDb, table.c_str(), action);
    } else {
      const int wanted = self.operation.callback;
      EventMgr::manager().registerCallback(kDb, table.c_str(), action, wanted == 2 ? &s_userData : nullptr, 0,
                                           wanted == 1 ? otherCallback : callback);
    }
    self.isIdle = true;
    s_current->stop();
  }
}

void SplitClient::run(std::size_t thread) {
  m_running = m_threads[thread].get();
  __tsan_switch_to_fiber(m_running->fiber, 0);
  swapcontext(&m_scheduler, &m_running->context);
  m_running = nullptr;
}

void SplitClient::stop() {
  Thread &self = *m_running;
  __tsan_switch_to_fiber(m_schedulerFiber, 0);
  swapcontext(&self.context, &m_scheduler);
}

void SplitClient::send(const void *bytes) {
  Thread &self = *m_running;
  _ORV_DB_MESSAGE record{};
  std::memcpy(&record, bytes, sizeof record);
  if (self.operation.isCancellation) {
    stop();  // dropped
    return m_sent(record);
  }
  m_sent(record);
  self.awaitsReply = true;
  stop();  // sent
  self.awaitsReply = false;
  EventMgr::settle(EventMgr::kWaiting, EventMgr::kReceived);
}

void SplitClient::changeRegistry() {
  if (m_running != nullptr && !m_running->operation.isCancellation) stop();  // acknowledged
}

// --- what the library calls ------------------------------------------------------------------------------------------

extern "C" {
ssize_t __real_write(int fd, const void *bytes, size_t length);
int __real_pthread_rwlock_wrlock(pthread_rwlock_t *lock);

ssize_t __wrap_write(int fd, const void *bytes, size_t length) {
  if (fd != kNoSocket) return __real_write(fd, bytes, length);
  SplitClient::current()->send(bytes);
  return static_cast<ssize_t>(length);
}

int __wrap_pthread_rwlock_wrlock(pthread_rwlock_t *lock) {
  if (SplitClient::current() != nullptr) SplitClient::current()->changeRegistry();
  return __real_pthread_rwlock_wrlock(lock);
}
}

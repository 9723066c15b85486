// The event manager's life: creation, start, stop.
#include "event/db_event_mgr.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <memory>

#include "event/deadline.h"
#include "event/exit_emptied.h"
#include "event/stop_signal.h"

std::atomic<bool> s_bMainThreadQuiting{false};
std::atomic<bool> db_event_mgr::m_running{false};
std::atomic<bool> db_event_mgr::m_needreinit{true};

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr time_t kThreadEndTimeoutSeconds = 4;
constexpr milliseconds kSignalInterval{50};
constexpr unsigned int kLateThreadSeconds = 2;

void closeDescriptor(int &fd) {
  if (fd >= 0) close(fd);
  fd = -1;
}

bool setSignalAction(int signal, const struct sigaction &action) { return sigaction(signal, &action, nullptr) == 0; }

bool ignoreBrokenPipes() {
  struct sigaction action {};
  action.sa_handler = SIG_IGN;
  return setSignalAction(SIGPIPE, action);
}

bool catchStopSignal(void (*handler)(int, siginfo_t *, void *)) {
  struct sigaction action {};
  action.sa_sigaction = handler;
  action.sa_flags = SA_SIGINFO;  // no SA_RESTART: the signal has to end a blocking poll or read
  return setSignalAction(stopSignal(), action);
}

bool unblockStopSignal() {
  sigset_t stop;
  sigemptyset(&stop);
  sigaddset(&stop, stopSignal());
  return pthread_sigmask(SIG_UNBLOCK, &stop, nullptr) == 0;
}

// While it lives, threads are created with every signal blocked but the stop signal and those of faults: an
// application's signals belong to its own threads.
class message_thread_signals {
 public:
  message_thread_signals() {
    sigset_t blocked;
    sigfillset(&blocked);
    for (const int delivered : {stopSignal(), SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGSYS, SIGABRT}) {
      sigdelset(&blocked, delivered);
    }
    pthread_sigmask(SIG_SETMASK, &blocked, &m_previous);
  }
  ~message_thread_signals() { pthread_sigmask(SIG_SETMASK, &m_previous, nullptr); }
  message_thread_signals(const message_thread_signals &) = delete;
  message_thread_signals &operator=(const message_thread_signals &) = delete;

 private:
  sigset_t m_previous{};
};

}  // namespace

db_event_mgr *db_event_mgr::getInstance() noexcept {
  try {
    static exit_emptied<db_event_mgr> instance;
    return &instance.get();
  } catch (const std::bad_alloc &) {
    return nullptr;
  }
}

db_event_mgr::db_event_mgr() {
  createLocks();
  sem_init(&m_regSem, 0, 0);
}

// A child of a fork calls this too: it abandons its copies of the old locks, which are held and can't be released.
void db_event_mgr::createLocks() {
  std::unique_ptr<mutex> runLock(mutex::create());
  std::unique_ptr<mutex> regLock(mutex::create());
  std::unique_ptr<rw_lock> mapLock(rw_lock::create());
  std::unique_ptr<rw_lock> sockLock(rw_lock::create());
  m_runLock = runLock.release();
  m_regLock = regLock.release();
  m_mapLock = mapLock.release();
  m_sockLock = sockLock.release();
}

bool db_event_mgr::init() {
  const mutex_guard starting(m_runLock);
  if (m_running || s_bMainThreadQuiting) return m_running;
  if (!catchStopSignal(sigQuitThreadHdlr) || !ignoreBrokenPipes() || !unblockStopSignal()) return false;
  if (pipe2(m_exitPipe, O_CLOEXEC) == 0) {
    m_sockFd = getSocketFd();
    if (m_sockFd >= 0) startThread();
  }
  if (!m_running) reset();
  return m_running;
}

// The thread is never joined. It must find m_running set when it looks at it first.
void db_event_mgr::startThread() {
  const message_thread_signals signals;
  m_running = true;
  const bool created = pthread_create(&m_thread, nullptr, thread_proc, this) == 0;
  m_running = created;
  m_needreinit = !created;
}

void db_event_mgr::reset() {
  m_running = false;
  m_regAck = kAckLost;
  closeDescriptor(m_exitPipe[0]);
  closeDescriptor(m_exitPipe[1]);
  int socket = m_sockFd.exchange(-1);
  closeDescriptor(socket);
}

// Threads that hold a lock now may hold it for good: a start and a fork wait for the notification server. What such a
// lock guards is left to the end of the process.
void db_event_mgr::emptyAtExit() {
  s_bMainThreadQuiting = true;
  if (m_runLock->lockBefore(deadlineAfter(kThreadEndTimeoutSeconds))) {
    const bool signalled = m_running && pthread_kill(m_thread, stopSignal()) == 0;
    m_runLock->unlock();
    awaitThreadEnd(signalled);
    closeAtExit();
  }
  m_running = false;
  if (m_mapLock->tryLock()) {
    m_callbacks.clear();
    m_mapLock->unlock();
  }
}

// A thread that was given up, or a fork, may hold m_runLock: everything stays open then, the end of the process closes
// it. A socket in use stays open, lest its number be given to something else while a record is being written to it.
void db_event_mgr::closeAtExit() {
  if (!m_runLock->tryLock()) return;
  if (m_sockLock->tryLock()) {
    reset();
    m_sockLock->unlock();
  } else {
    m_sockFd = -1;
    reset();
  }
  m_runLock->unlock();
}

// The signal is lost if it lands between the thread's look at m_running and its call of poll, so it is sent again until
// the thread's mark arrives. Unchecked: the thread needs m_runLock to end, and nothing starts another one.
ORV_UNCHECKED void db_event_mgr::awaitThreadEnd(bool signalled) {
  if (m_exitPipe[0] < 0) return;
  const auto deadline = steady_clock::now() + std::chrono::seconds(kThreadEndTimeoutSeconds);
  while (steady_clock::now() < deadline) {
    pollfd mark{m_exitPipe[0], POLLIN, 0};
    const int ready = poll(&mark, 1, static_cast<int>(kSignalInterval.count()));
    if (ready < 0 && errno != EINTR) return;
    if (ready > 0) {
      char ended;
      [[maybe_unused]] const ssize_t bytes = read(m_exitPipe[0], &ended, sizeof ended);
      return;
    }
    if (signalled) pthread_kill(m_thread, stopSignal());
  }
  m_running = false;
  sleep(kLateThreadSeconds);
}

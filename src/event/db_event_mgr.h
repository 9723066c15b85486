// The process's client of the notification server: one connection, one message thread, the registry of callbacks.
//
// Locks, outermost first: m_runLock, m_regLock, m_mapLock, m_sockLock. None is held while a callback runs, while the
// message thread sleeps between attempts to reconnect, or while another lock of the library is taken; the fork handlers
// take all four after the library's own.
#pragma once

#include <orvdb_client.h>
#include <semaphore.h>
#include <signal.h>

#include <atomic>
#include <map>
#include <string>
#include <string_view>

#include "event/lock.h"
#include "event/message.h"

// Set when the process has begun to end the event manager: nothing is announced or opened any more.
extern std::atomic<bool> s_bMainThreadQuiting;

// Has `action` any of the bits that have a meaning?
constexpr bool hasAction(int action) { return (action & ORV_DB_ACTION_ALL) != 0; }

// The pause before an attempt to reconnect, given how many attempts have failed: 1, 2, 4 ... seconds. 32 bits wide, so
// it ends at 0.
constexpr unsigned int recoveryDelaySeconds(unsigned int attempts) { return attempts < 32 ? 1U << attempts : 0; }

class db_event_mgr {
 public:
  // Null when memory does not suffice to create the instance; the next call tries again.
  static db_event_mgr *getInstance() noexcept;

  db_event_mgr(const db_event_mgr &) = delete;
  db_event_mgr &operator=(const db_event_mgr &) = delete;

  // Connects and starts the message thread unless it runs. Tells whether it runs now.
  bool init() ORV_EXCLUDES(m_runLock, m_regLock, m_mapLock, m_sockLock);

  int notifyChange(const char *db, const char *table, _orv_db_action_t action, unsigned long long rowId)
      ORV_EXCLUDES(m_runLock, m_regLock, m_mapLock, m_sockLock);
  int registerCallback(const char *db, const char *table, _orv_db_action_t action, void *userData, unsigned char flag,
                       orv_db_change_cb callback) ORV_EXCLUDES(m_regLock, m_mapLock, m_sockLock);
  int cancelCallback(const char *db, const char *table, _orv_db_action_t action) ORV_EXCLUDES(m_mapLock, m_sockLock);

  void prepare_for_fork() ORV_ACQUIRE(m_runLock, m_regLock, m_mapLock, m_sockLock);
  void parent_after_fork() ORV_RELEASE(m_runLock, m_regLock, m_mapLock, m_sockLock);
  void child_after_fork();

  // Stops the message thread, closes the connection and empties the registry. Locks stay, for threads that are late.
  void emptyAtExit() ORV_EXCLUDES(m_runLock, m_regLock, m_mapLock, m_sockLock);

 private:
  template <class T>
  friend class exit_emptied;
  friend struct db_event_mgr_test_access;

  struct NotifyKeyView {
    std::string_view db;
    std::string_view table;
  };
  struct NotifyKey {
    std::string db;
    std::string table;
    operator NotifyKeyView() const { return {db, table}; }
  };
  // By database, then table, each byte by byte with the shorter first. Views are compared, so that looking a record up
  // needs no memory.
  struct NotifyOrder {
    using is_transparent = void;
    bool operator()(NotifyKeyView a, NotifyKeyView b) const {
      const int byDb = a.db.compare(b.db);
      return byDb != 0 ? byDb < 0 : a.table < b.table;
    }
  };
  struct NotifyValue {
    int actions;
    void *userData;
    unsigned char flag;
    orv_db_change_cb callback;
  };
  // Entries with equal keys stay in the order of their registration.
  using callback_map = std::multimap<NotifyKey, NotifyValue, NotifyOrder>;

  // What m_regAck says of the one registration that may await its reply.
  enum reg_ack : int { kAckLost = -1, kAckWaiting = 0, kAckReceived = 1 };

  db_event_mgr();
  ~db_event_mgr() = default;

  // Life.
  void createLocks();
  static bool isUp() { return m_running && !s_bMainThreadQuiting; }
  void startThread() ORV_REQUIRES(m_runLock);
  void reset() ORV_REQUIRES(m_runLock);
  void awaitThreadEnd(bool signalled);
  void closeAtExit() ORV_EXCLUDES(m_runLock, m_sockLock);

  // Socket. Results are byte counts; -1 where there is no socket, and for a read that fails.
  static int getSocketFd();
  static int doSendMsg(int fd, const void *bytes, int length);
  static int doRecvMsg(int fd, void *buffer, int length);
  int sendMessage(const void *bytes, int length) ORV_EXCLUDES(m_sockLock);
  int recvMessage(void *buffer, int length) ORV_EXCLUDES(m_sockLock);
  bool sendRecord(const _ORV_DB_MESSAGE &record) ORV_EXCLUDES(m_sockLock);
  static void prepareMsg(_ORV_DB_MESSAGE &record, message_type type, const char *db, const char *table, int action,
                         unsigned char flag);
  static void prepareMsg(_ORV_DB_MESSAGE &record, message_type type, const char *db, const char *table, int action,
                         unsigned long long rowId);

  // Registry.
  int announceRegistration(const char *db, const char *table, int action, unsigned char flag)
      ORV_EXCLUDES(m_regLock, m_mapLock, m_sockLock);
  void awaitAcknowledgement() ORV_REQUIRES(m_regLock);
  void settleAcknowledgement(reg_ack outcome);
  callback_map::iterator firstOverlap(NotifyKeyView key, int action) ORV_REQUIRES_SHARED(m_mapLock);
  void removeActions(callback_map::iterator entry, int action) ORV_REQUIRES(m_mapLock);
  void handleChange(const _ORV_DB_MESSAGE &msg) ORV_EXCLUDES(m_runLock, m_regLock, m_mapLock, m_sockLock);

  // Message thread.
  static void *thread_proc(void *arg);
  static void sigQuitThreadHdlr(int sig, siginfo_t *info, void *context);
  void msgLoopHdlr() ORV_EXCLUDES(m_runLock, m_regLock, m_mapLock, m_sockLock);
  bool receiveRecord() ORV_EXCLUDES(m_runLock, m_regLock, m_mapLock, m_sockLock);
  int recoverConn() ORV_EXCLUDES(m_runLock, m_regLock, m_mapLock, m_sockLock);
  static int reconnect();
  static bool sleepWhileRunning(unsigned int seconds);
  void reRegister(int fd) ORV_EXCLUDES(m_regLock, m_mapLock);

  callback_map m_callbacks ORV_GUARDED_BY(m_mapLock);
  // Read end, write end: the message thread's mark that it has ended.
  int m_exitPipe[2] ORV_GUARDED_BY(m_runLock) = {-1, -1};
  pthread_t m_thread ORV_GUARDED_BY(m_runLock){};
  std::atomic<int> m_sockFd{-1};  // replaced under m_sockLock, but for the message thread's own store
  std::atomic<int> m_regAck{kAckLost};
  sem_t m_regSem;  // posted whenever m_regAck leaves kAckWaiting
  mutex *m_runLock;
  mutex *m_regLock ORV_ACQUIRED_AFTER(m_runLock);
  rw_lock *m_mapLock ORV_ACQUIRED_AFTER(m_regLock);
  rw_lock *m_sockLock ORV_ACQUIRED_AFTER(m_mapLock);

  // Read without a lock, m_running also written by a signal handler.
  static std::atomic<bool> m_running;
  static std::atomic<bool> m_needreinit;
  static_assert(std::atomic<bool>::is_always_lock_free);
};

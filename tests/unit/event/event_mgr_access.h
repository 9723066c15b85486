// A look inside the event manager, for what cannot be seen from outside.
#pragma once

#include <poll.h>

#include <ostream>
#include <string>
#include <type_traits>
#include <vector>

#include "event/db_event_mgr.h"
#include "event/exit_emptied.h"

// An entry of the registry, without its callback.
struct RegistryEntry {
  std::string db;
  std::string table;
  int actions;
  unsigned char flag = 0;
};
inline bool operator==(const RegistryEntry &left, const RegistryEntry &right) {
  return left.db == right.db && left.table == right.table && left.actions == right.actions && left.flag == right.flag;
}
inline std::ostream &operator<<(std::ostream &out, const RegistryEntry &entry) {
  return out << entry.db << '.' << entry.table << " mask " << entry.actions << " flag " << int{entry.flag};
}

struct db_event_mgr_test_access {
  using mgr = db_event_mgr;

  // Without a lock, each is read by several threads and written by one at least.
  static_assert(std::is_same_v<decltype(mgr::m_running), std::atomic<bool>>);
  static_assert(std::is_same_v<decltype(mgr::m_needreinit), std::atomic<bool>>);
  static_assert(std::is_same_v<decltype(mgr::m_sockFd), std::atomic<int>>);
  static_assert(std::is_same_v<decltype(mgr::m_regAck), std::atomic<int>>);

  // An exception that left the manager's end would terminate the process.
  static_assert(std::is_nothrow_destructible_v<exit_emptied<mgr>>);

  static constexpr int kLost = mgr::kAckLost;
  static constexpr int kWaiting = mgr::kAckWaiting;
  static constexpr int kReceived = mgr::kAckReceived;

  static mgr &manager() { return *mgr::getInstance(); }

  static bool running() { return mgr::m_running; }
  static void setRunning(bool running) { mgr::m_running = running; }
  static bool needsInit() { return mgr::m_needreinit; }
  static int socket() { return manager().m_sockFd; }
  static int exitPipe(int end) { return manager().m_exitPipe[end]; }
  // Of the message thread, which ends.
  static bool exitMarkIsThere() {
    pollfd mark{exitPipe(0), POLLIN, 0};
    return poll(&mark, 1, 0) == 1;
  }
  static int acknowledgement() { return manager().m_regAck; }
  static int posts() {
    int value = 0;
    sem_getvalue(&manager().m_regSem, &value);
    return value;
  }
  static void settle(int waiting, int outcome) {
    manager().m_regAck = waiting;
    manager().settleAcknowledgement(static_cast<mgr::reg_ack>(outcome));
  }

  static std::vector<RegistryEntry> registry() {
    const read_guard reading(manager().m_mapLock);
    std::vector<RegistryEntry> entries;
    for (const auto &[key, value] : manager().m_callbacks) {
      entries.push_back({key.db, key.table, value.actions, value.flag});
    }
    return entries;
  }

  // Of all entries of a key together.
  static int registeredActions(const char *db, const char *table) {
    const read_guard reading(manager().m_mapLock);
    int actions = 0;
    const auto [first, last] = manager().m_callbacks.equal_range(mgr::NotifyKeyView{db, table});
    for (auto entry = first; entry != last; ++entry)
      actions |= entry->second.actions;
    return actions;
  }
  static void clearRegistry() {
    const write_guard clearing(manager().m_mapLock);
    manager().m_callbacks.clear();
  }
  static void setSocket(int fd) { manager().m_sockFd = fd; }

  static mutex *regLock() { return manager().m_regLock; }
  // Whether a thread holds the lock now.
  static bool runLockIsHeld() { return isHeld(manager().m_runLock); }
  static bool regLockIsHeld() { return isHeld(manager().m_regLock); }
  static bool mapLockIsHeld() { return isHeld(manager().m_mapLock); }
  static bool sockLockIsHeld() { return isHeld(manager().m_sockLock); }
  struct Locks {
    mutex *run = manager().m_runLock;
    mutex *reg = manager().m_regLock;
    rw_lock *map = manager().m_mapLock;
    rw_lock *sock = manager().m_sockLock;
  };
  template <class Lock>
  static bool isHeld(Lock *lock) {
    if (!lock->tryLock()) return true;
    lock->unlock();
    return false;
  }

  // What the message thread does.
  static void runMessageLoop() { manager().msgLoopHdlr(); }
  static bool receiveRecord() { return manager().receiveRecord(); }
  static void forgetPosts() {
    while (sem_trywait(&manager().m_regSem) == 0) {
    }
  }

  static int doSendMsg(int fd, const void *bytes, int length) { return mgr::doSendMsg(fd, bytes, length); }
  static int doRecvMsg(int fd, void *buffer, int length) { return mgr::doRecvMsg(fd, buffer, length); }
  static int sendMessage(const void *bytes, int length) { return manager().sendMessage(bytes, length); }
  static int recvMessage(void *buffer, int length) { return manager().recvMessage(buffer, length); }
};
using EventMgr = db_event_mgr_test_access;

// Recovery: when the connection is lost, the message thread reconnects with growing pauses and repeats registrations.
#include <unistd.h>

#include <cerrno>
#include <ctime>

#include "event/db_event_mgr.h"

namespace {

// The eleventh attempt, 34 minutes after the loss, is the last: the pause before the next would be longer than this.
constexpr unsigned int kLongestPauseSeconds = 1799;

}  // namespace

// Gives the new descriptor, or a negative value when the thread is to end.
int db_event_mgr::recoverConn() {
  {
    const write_guard replacing(m_sockLock);
    close(m_sockFd);
    m_sockFd = -1;
  }
  settleAcknowledgement(kAckLost);
  if (!m_running) return m_sockFd;
  const int fd = reconnect();
  if (fd >= 0) {
    reRegister(fd);
    m_sockFd = fd;  // without m_sockLock: no other thread stores a descriptor while this one runs
  }
  return m_sockFd;
}

int db_event_mgr::reconnect() {
  int fd = -1;
  unsigned int attempts = 0;
  unsigned int pause = recoveryDelaySeconds(attempts);
  do {
    if (sleepWhileRunning(pause)) {
      pause = recoveryDelaySeconds(++attempts);
      fd = getSocketFd();
    }
  } while (m_running && fd < 0 && pause <= kLongestPauseSeconds);
  return fd;
}

// False when the sleep was not completed.
bool db_event_mgr::sleepWhileRunning(unsigned int seconds) {
  timespec left{static_cast<time_t>(seconds), 0};
  while (nanosleep(&left, &left) != 0) {
    if (errno != EINTR || !m_running) return false;
  }
  return true;
}

// Replies are not awaited. m_regAck is set before each record so that none of them is taken for the reply to a
// registration that waits. A registration made meanwhile waits for m_regLock.
void db_event_mgr::reRegister(int fd) {
  const mutex_guard registering(m_regLock);
  const read_guard walking(m_mapLock);
  for (const auto &[key, value] : m_callbacks) {
    if (!m_running) return;
    m_regAck = kAckReceived;
    _ORV_DB_MESSAGE record{};
    prepareMsg(record, MSG_REGISTER, key.db.c_str(), key.table.c_str(), value.actions, value.flag);
    if (doSendMsg(fd, &record, sizeof record) != sizeof record) return;
  }
}

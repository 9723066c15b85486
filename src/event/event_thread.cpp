// The message thread: it receives records until it is stopped or the notification server is gone for good.
#include <poll.h>
#include <unistd.h>

#include <cerrno>

#include "event/db_event_mgr.h"
#include "event/stop_signal.h"

void *db_event_mgr::thread_proc(void *arg) {
  if (arg != nullptr) static_cast<db_event_mgr *>(arg)->msgLoopHdlr();
  return nullptr;
}

// Runs on the message thread, whose poll or read the signal ends. Acts on a signal sent by this process to a thread.
void db_event_mgr::sigQuitThreadHdlr(int sig, siginfo_t *info, void *) {
  if (sig == stopSignal() && info->si_pid == getpid() && info->si_code == SI_TKILL) m_running = false;
}

void db_event_mgr::msgLoopHdlr() {
  pollfd server{m_sockFd, POLLIN | POLLRDNORM, 0};
  while (m_running) {
    if (poll(&server, 1, -1) <= 0) {
      if (errno == EINTR) continue;
      break;
    }
    // What poll saw is not looked at: a hang-up shows in the read.
    if (!receiveRecord()) server.fd = recoverConn();
    if (server.fd < 0) break;
  }

  int mark;
  {
    const mutex_guard ending(m_runLock);
    m_running = false;
    mark = m_exitPipe[1];
  }
  // Whoever waits for this mark may go on to end the process: it is the last thing that the thread does.
  if (mark >= 0) [[maybe_unused]]
    const ssize_t bytes = write(mark, "r", 1);
}

// False when no whole record came.
bool db_event_mgr::receiveRecord() {
  _ORV_DB_MESSAGE record{};
  const bool whole = recvMessage(&record, sizeof record) == sizeof record;
  if (!whole) return false;
  record.db[kNameFieldSize - 1] = '\0';
  record.table[kNameFieldSize - 1] = '\0';
  if (record.type == MSG_REGISTER && record.status == kStatusAccepted) settleAcknowledgement(kAckReceived);
  if (record.type == MSG_CHANGE && record.status == kStatusPlain) handleChange(record);
  return true;
}

// The registry of callbacks: registering, cancelling, delivering a change.
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "event/db_event_mgr.h"
#include "event/deadline.h"

namespace {

constexpr time_t kReplyTimeoutSeconds = 2;

}  // namespace

int db_event_mgr::registerCallback(const char *db, const char *table, _orv_db_action_t action, void *userData,
                                   unsigned char flag, orv_db_change_cb callback) {
  if (db == nullptr || table == nullptr || !hasAction(action)) return ORV_DB_INVALID_ARGUMENT;
  if (!isUp()) return ORV_DB_GONE;

  // Made first, so that a lack of memory is found before the server or the registry knows of the registration.
  callback_map registration;
  registration.emplace(NotifyKey{db, table}, NotifyValue{action, userData, flag, callback});

  const int status = announceRegistration(db, table, action, flag);
  if (status != ORV_DB_OK) return status;

  const write_guard changing(m_mapLock);
  const auto earlier = firstOverlap({db, table}, action);
  if (earlier != m_callbacks.end()) {
    // Kept as it is even if the new mask is wider.
    if (earlier->second.userData == nullptr && earlier->second.callback == callback) return ORV_DB_OK;
    removeActions(earlier, action);
  }
  m_callbacks.insert(registration.extract(registration.begin()));
  return ORV_DB_OK;
}

// One registration at a time awaits its reply, so a reply need not say which one it answers.
int db_event_mgr::announceRegistration(const char *db, const char *table, int action, unsigned char flag) {
  const mutex_guard registering(m_regLock);
  m_regAck = kAckWaiting;
  _ORV_DB_MESSAGE record{};
  prepareMsg(record, MSG_REGISTER, db, table, action, flag);
  if (!sendRecord(record)) return ORV_DB_LOST;
  awaitAcknowledgement();
  switch (m_regAck) {
    case kAckReceived:
      return ORV_DB_OK;
    case kAckWaiting:
      return ORV_DB_NO_REPLY;
    default:
      return ORV_DB_GONE;
  }
}

// A post may be left over from an earlier registration that had stopped waiting, so a successful wait proves nothing.
void db_event_mgr::awaitAcknowledgement() {
  while (m_regAck == kAckWaiting) {
    const timespec deadline = deadlineAfter(kReplyTimeoutSeconds);
    if (sem_timedwait(&m_regSem, &deadline) != 0 && errno != EINTR) return;
  }
}

// A reply and the loss of the connection may come at the same moment: the first one counts.
void db_event_mgr::settleAcknowledgement(reg_ack outcome) {
  int waiting = kAckWaiting;
  if (m_regAck.compare_exchange_strong(waiting, outcome)) sem_post(&m_regSem);
}

int db_event_mgr::cancelCallback(const char *db, const char *table, _orv_db_action_t action) {
  if (db == nullptr || table == nullptr || !hasAction(action)) return ORV_DB_INVALID_ARGUMENT;
  if (!isUp()) return ORV_DB_GONE;
  {
    const write_guard changing(m_mapLock);
    const auto entry = firstOverlap({db, table}, action);
    if (entry == m_callbacks.end()) return ORV_DB_OK;
    removeActions(entry, action);
  }
  _ORV_DB_MESSAGE record{};
  prepareMsg(record, MSG_CANCEL, db, table, action, 0ULL);
  return sendRecord(record) ? ORV_DB_OK : ORV_DB_LOST;
}

db_event_mgr::callback_map::iterator db_event_mgr::firstOverlap(NotifyKeyView key, int action) {
  const auto [first, last] = m_callbacks.equal_range(key);
  for (auto entry = first; entry != last; ++entry) {
    if ((entry->second.actions & action) != 0) return entry;
  }
  return m_callbacks.end();
}

void db_event_mgr::removeActions(callback_map::iterator entry, int action) {
  entry->second.actions &= ~action;
  if (entry->second.actions == 0) m_callbacks.erase(entry);
}

void db_event_mgr::handleChange(const _ORV_DB_MESSAGE &msg) {
  orv_db_change_cb callback = nullptr;
  void *userData = nullptr;
  {
    const read_guard searching(m_mapLock);
    const auto entry = firstOverlap({msg.db, msg.table}, msg.action);
    if (entry == m_callbacks.end()) return;
    callback = entry->second.callback;
    userData = entry->second.userData;
  }
  if (callback == nullptr) return;
  const pid_t process = getpid();
  callback(msg.db, msg.table, static_cast<_orv_db_action_t>(msg.action), msg.rowId, userData);
  // In a child that was forked inside the callback this is a copy of the message thread, and the child has one of its
  // own by now: two of them must not read the same socket.
  if (getpid() != process) _exit(0);
}

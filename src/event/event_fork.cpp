// What the event manager does around fork().
#include "event/db_event_mgr.h"

// With all four locks held no thread is in the middle of a registration, of a change of the registry or the socket, or
// of a start.
void db_event_mgr::prepare_for_fork() {
  m_runLock->lock();
  m_regLock->lock();
  m_mapLock->lock();
  m_sockLock->lock();
}

void db_event_mgr::parent_after_fork() {
  m_runLock->unlock();
  m_regLock->unlock();
  m_mapLock->unlock();
  m_sockLock->unlock();
}

// The child has a connection and a message thread of its own, and no registrations. If there is no server now, its
// first announcement tries again. The registry is emptied before the new thread can read it.
void db_event_mgr::child_after_fork() {
  createLocks();
  {
    const mutex_guard stopping(m_runLock);
    const write_guard emptying(m_mapLock);
    reset();
    m_callbacks.clear();
  }
  m_needreinit = true;
  init();
}

#include "core/locks.h"

mutex *s_pOpenMutex;
rw_lock *s_pConnInfoLock;
mutex *s_pRawSetPoolMutex;
mutex *s_pStmtSetPoolMutex;
mutex *s_pLogMutex;

void createLocks() {
  s_pOpenMutex = mutex::create();
  s_pConnInfoLock = rw_lock::create();
  s_pRawSetPoolMutex = mutex::create();
  s_pStmtSetPoolMutex = mutex::create();
}

void lockForFork() {
  s_pOpenMutex->lock();
  s_pConnInfoLock->lock();
  s_pRawSetPoolMutex->lock();
  s_pStmtSetPoolMutex->lock();
}

void unlockAfterFork() {
  s_pOpenMutex->unlock();
  s_pConnInfoLock->unlock();
  s_pRawSetPoolMutex->unlock();
  s_pStmtSetPoolMutex->unlock();
}

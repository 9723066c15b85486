// The process-wide locks, in their order, outermost first; a handle's own lock comes after s_pConnInfoLock and the pool
// locks, s_pLogMutex after everything else. They are on the heap because a forked child replaces them.
#pragma once

#include "event/lock.h"

// The set-up of a new client connection.
extern mutex *s_pOpenMutex;
// s_mapConnInfo and s_mapPendingTables.
extern rw_lock *s_pConnInfoLock ORV_ACQUIRED_AFTER(s_pOpenMutex);
// The slots of the pool of raw results.
extern mutex *s_pRawSetPoolMutex ORV_ACQUIRED_AFTER(s_pConnInfoLock);
// The slots of the pool of statement results.
extern mutex *s_pStmtSetPoolMutex ORV_ACQUIRED_AFTER(s_pRawSetPoolMutex);
// The C library's system log, whose own lock a child would inherit locked.
extern mutex *s_pLogMutex ORV_ACQUIRED_AFTER(s_pStmtSetPoolMutex);

// At load, and again in a forked child: there the old locks are held, can't be released, and are abandoned.
void createLocks();

void lockForFork() ORV_ACQUIRE(s_pOpenMutex, s_pConnInfoLock, s_pRawSetPoolMutex, s_pStmtSetPoolMutex);
void unlockAfterFork() ORV_RELEASE(s_pOpenMutex, s_pConnInfoLock, s_pRawSetPoolMutex, s_pStmtSetPoolMutex);

// The process-wide locks, in their order, outermost first; a handle's own lock comes after s_pConnInfoLock and the pool
// locks, s_pLogMutex after everything else. They are on the heap because a forked child replaces them.
#pragma once

#include "event/lock.h"

extern mutex *s_pOpenMutex;         // the set-up of a new client connection
extern rw_lock *s_pConnInfoLock;    // s_mapConnInfo and s_mapPendingTables
extern mutex *s_pRawSetPoolMutex;   // the slots of the pool of raw results
extern mutex *s_pStmtSetPoolMutex;  // the slots of the pool of statement results
extern mutex *s_pLogMutex;          // the C library's system log, whose own lock a child would inherit locked

// At load, and again in a forked child: there the old locks are held, can't be released, and are abandoned.
void createLocks();

void lockForFork();
void unlockAfterFork();

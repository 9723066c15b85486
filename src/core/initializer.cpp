// What runs when the library is loaded, around fork(), and when the process exits.
#include <orvdb_client.h>

#include <atomic>

#include "core/load_order.h"
#include "core/locks.h"
#include "core/log.h"
#include "event/db_event_mgr.h"

extern "C" int __register_atfork(void (*prepare)(), void (*parent)(), void (*child)(), void *dso);
extern "C" void *__dso_handle __attribute__((visibility("hidden")));

namespace {

std::atomic<bool> s_bEvtMgrInited{false};
std::atomic<bool> s_bAtforkDone{false};

// What prepare_fork found and did. The other two handlers act on it, since the process may begin to exit in between.
struct fork_state {
  bool managerAbsent;
  db_event_mgr *lockedManager;  // null while the process exits: then the manager is left alone
} s_fork;

// The manager's locks, where there is a manager. Unchecked: the analysis knows no lock that is held in some cases.
ORV_UNCHECKED void lockManager() {
  if (s_fork.lockedManager != nullptr) s_fork.lockedManager->prepare_for_fork();
}
ORV_UNCHECKED void unlockManager(const fork_state &state) {
  if (state.lockedManager != nullptr) state.lockedManager->parent_after_fork();
}

void prepare_fork() ORV_ACQUIRE(s_pOpenMutex, s_pConnInfoLock, s_pRawSetPoolMutex, s_pStmtSetPoolMutex, s_pLogMutex) {
  db_event_mgr *manager = db_event_mgr::getInstance();
  lockForFork();
  s_fork = {manager == nullptr, s_bMainThreadQuiting ? nullptr : manager};
  if (s_fork.managerAbsent) db_api_log("prepare_fork:pEvtMgr==NULL");
  lockManager();
  s_pLogMutex->lock();
}

void parent_after_fork()
    ORV_RELEASE(s_pOpenMutex, s_pConnInfoLock, s_pRawSetPoolMutex, s_pStmtSetPoolMutex, s_pLogMutex) {
  const fork_state state = s_fork;  // another thread may fork as soon as the locks are free
  s_pLogMutex->unlock();
  unlockAfterFork();
  if (state.managerAbsent) db_api_log("parent_after_fork:pEvtMgr==NULL");
  unlockManager(state);
}

void child_after_fork() {
  s_pLogMutex = mutex::create();
  createLocks();
  if (s_fork.managerAbsent) db_api_log("child_after_fork:pEvtMgr==NULL");
  if (s_fork.lockedManager != nullptr) s_fork.lockedManager->child_after_fork();
}

// Tied to the library, so that an unloaded library leaves no handlers behind.
bool registerForkHandlers() {
  return __register_atfork(prepare_fork, parent_after_fork, child_after_fork, __dso_handle) == 0;
}

ORV_RUN_AT_LOAD(kLoadInitializer) void initializer() {
  s_pLogMutex = mutex::create();
  db_event_mgr *manager = db_event_mgr::getInstance();
  if (manager == nullptr) {
    db_api_log("initializer:pEvtMgr==NULL");
  } else {
    s_bEvtMgrInited = manager->init();
  }
  createLocks();
  s_bAtforkDone = registerForkHandlers();
}

// The first of the library's exit handlers: from now on nothing is opened or announced, and a handle is closed without
// a look at the registry, which is about to be emptied.
struct exit_begin {
  ~exit_begin() { s_bMainThreadQuiting = true; }
} s_exitBegin ORV_LOADED(kLoadExitBegin);

}  // namespace

extern "C" int orv_db_retry_init(void) {
  if (!s_bEvtMgrInited) {
    db_event_mgr *manager = db_event_mgr::getInstance();
    if (manager != nullptr) s_bEvtMgrInited = manager->init();
  }
  if (!s_bAtforkDone) s_bAtforkDone = registerForkHandlers();
  return s_bEvtMgrInited && s_bAtforkDone ? ORV_DB_OK : ORV_DB_ERROR;
}

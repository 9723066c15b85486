// Clang compiles this with -verify: each line with a breach of the rules for locks must give the warning that stands
// there, from the annotations of the library's own headers, and no other line may give any.
#include "core/change_report.h"
#include "core/connection.h"
#include "core/log.h"
#include "event/db_event_mgr.h"
#include "query/raw_set.h"
#include "query/statement.h"
#include "query/stmt_set.h"

void connectionsNeedTheirLock() {
  s_mapConnInfo->clear();  // expected-warning {{requires holding mutex 's_pConnInfoLock'}}
  const read_guard held(s_pConnInfoLock);
  s_mapConnInfo->clear();
}

void pendingTablesNeedTheirLock() {
  s_mapPendingTables->clear();  // expected-warning {{requires holding mutex 's_pConnInfoLock'}}
  const write_guard held(s_pConnInfoLock);
  s_mapPendingTables->clear();
}

void connectionNeedsItsOwnHandlesLock(_orv_db_handle_t *handle, _orv_db_handle_t *other) {
  mysql_ping(handle->connection());  // expected-warning {{requires holding mutex 'handle->lock'}}
  const mutex_guard held(&handle->lock);
  mysql_ping(handle->connection());
  mysql_ping(other->connection());  // expected-warning {{'other->lock'}} expected-note {{near match 'handle->lock'}}
}

void statementNeedsTheHandlesLockOrTakesIt(_orv_db_handle_t *handle, MYSQL_STMT *stmt) {
  run_statement(handle, "", nullptr, 0, &stmt);
  runStatementLocked(handle, "", nullptr, 0, &stmt);  // expected-warning {{requires holding mutex 'handle->lock'}}
  const mutex_guard held(&handle->lock);
  run_statement(handle, "", nullptr, 0, &stmt);  // expected-warning {{while mutex 'handle->lock' is held}}
  runStatementLocked(handle, "", nullptr, 0, &stmt);
}

void noHandlesLockIsHeldWhileAChangeIsReported(_orv_db_handle_t *handle, _orv_db_handle_t *other) {
  const mutex_guard held(&other->lock);
  report_change(handle, "", 0, 0);  // expected-warning {{cannot call function 'report_change'}}
  reportWritten(handle, "", 0, 0);  // expected-warning {{cannot call function 'reportWritten'}}
  announcePendingTables(handle);    // expected-warning {{cannot call function 'announcePendingTables'}}
  dropPendingTables(handle);        // expected-warning {{cannot call function 'dropPendingTables'}}
}

void theConnectionsLockIsNotHeldWhileAChangeIsReported(_orv_db_handle_t *handle) {
  const read_guard held(s_pConnInfoLock);
  report_change(handle, "", 0, 0);  // expected-warning {{while mutex 's_pConnInfoLock' is held}}
}

void poolsComeBeforeHandles(_orv_db_handle_t *handle) {
  freeRawSetInfo(allocRawSetInfo());
  freeStmtSetInfo(allocStmtSetInfo());
  const mutex_guard held(&handle->lock);
  RawSetInfo *raw = allocRawSetInfo();     // expected-warning {{cannot call function 'allocRawSetInfo'}}
  StmtSetInfo *stmt = allocStmtSetInfo();  // expected-warning {{cannot call function 'allocStmtSetInfo'}}
  freeRawSetInfo(raw);                     // expected-warning {{cannot call function 'freeRawSetInfo'}}
  freeStmtSetInfo(stmt);                   // expected-warning {{cannot call function 'freeStmtSetInfo'}}
}

void theLogIsNotHeldWhileALineIsWritten() {
  const mutex_guard held(s_pLogMutex);
  db_api_log("");           // expected-warning {{cannot call function 'db_api_log'}}
  db_api_process_info("");  // expected-warning {{cannot call function 'db_api_process_info'}}
}

void locksInTheirOrder(_orv_db_handle_t *handle) {
  const mutex_guard open(s_pOpenMutex);
  const write_guard connections(s_pConnInfoLock);
  const mutex_guard rawSets(s_pRawSetPoolMutex);
  const mutex_guard stmtSets(s_pStmtSetPoolMutex);
  const mutex_guard connection(&handle->lock);
  const mutex_guard log(s_pLogMutex);
}

void openAfterConnections() {
  const read_guard connections(s_pConnInfoLock);
  const mutex_guard open(s_pOpenMutex);  // expected-warning {{must be acquired before 's_pConnInfoLock'}}
}

void connectionsAfterRawSets() {
  const mutex_guard rawSets(s_pRawSetPoolMutex);
  const read_guard connections(s_pConnInfoLock);  // expected-warning {{must be acquired before 's_pRawSetPoolMutex'}}
}

void rawSetsAfterStmtSets() {
  const mutex_guard stmtSets(s_pStmtSetPoolMutex);
  const mutex_guard rawSets(s_pRawSetPoolMutex);  // expected-warning {{must be acquired before 's_pStmtSetPoolMutex'}}
}

void stmtSetsAfterHandle(_orv_db_handle_t *handle) {
  const mutex_guard connection(&handle->lock);
  const mutex_guard stmtSets(s_pStmtSetPoolMutex);  // expected-warning {{must be acquired before 'lock'}}
}

void connectionsAfterHandle(_orv_db_handle_t *handle) {
  const mutex_guard connection(&handle->lock);
  const read_guard connections(s_pConnInfoLock);  // expected-warning {{must be acquired before 'lock'}}
}

void handleAfterLog(_orv_db_handle_t *handle) {
  const mutex_guard log(s_pLogMutex);
  const mutex_guard connection(&handle->lock);  // expected-warning {{'lock' must be acquired before 's_pLogMutex'}}
}

void lockTwice() {
  s_pOpenMutex->lock();  // expected-note {{acquired here}}
  s_pOpenMutex->lock();  // expected-warning {{already held}}
  s_pOpenMutex->unlock();
}

void leftLocked(bool early) {
  s_pOpenMutex->lock();  // expected-note {{acquired here}}
  if (early) return;
  s_pOpenMutex->unlock();
}  // expected-warning {{not held on every path}}

struct db_event_mgr_test_access {
  static void membersNeedTheirLocks(db_event_mgr &manager) {
    manager.m_callbacks.clear();  // expected-warning {{requires holding mutex 'manager.m_mapLock'}}
    manager.m_thread = {};        // expected-warning {{requires holding mutex 'manager.m_runLock'}}
    manager.m_exitPipe[0] = -1;   // expected-warning {{requires holding mutex 'manager.m_runLock'}}
    manager.reset();              // expected-warning {{requires holding mutex 'manager.m_runLock'}}
    manager.startThread();        // expected-warning {{requires holding mutex 'manager.m_runLock'}}
    const mutex_guard starting(manager.m_runLock);
    const write_guard changing(manager.m_mapLock);
    manager.m_callbacks.clear();
    manager.m_thread = {};
    manager.m_exitPipe[0] = -1;
  }

  static void sharedIsNotEnoughToChangeTheRegistry(db_event_mgr &manager) {
    const read_guard looking(manager.m_mapLock);
    const auto entry = manager.firstOverlap({}, 0);
    manager.removeActions(entry, 0);  // expected-warning {{requires holding mutex 'manager.m_mapLock' exclusively}}
  }

  static void nothingIsHeldWhileACallbackRuns(db_event_mgr &manager) {
    const read_guard held(manager.m_sockLock);
    manager.handleChange({});  // expected-warning {{cannot call function 'handleChange'}}
    manager.recoverConn();     // expected-warning {{cannot call function 'recoverConn'}}
    manager.init();            // expected-warning {{cannot call function 'init'}}
    manager.sendRecord({});    // expected-warning {{cannot call function 'sendRecord'}}
  }

  static void nothingIsHeldWhileTheClientIsUsed(db_event_mgr &manager) {
    const write_guard held(manager.m_mapLock);
    manager.notifyChange("", "", ORV_DB_ACTION_ALL, 0);  // expected-warning {{cannot call function 'notifyChange'}}
    manager.cancelCallback("", "", ORV_DB_ACTION_ALL);   // expected-warning {{cannot call function 'cancelCallback'}}
    manager.emptyAtExit();                               // expected-warning {{cannot call function 'emptyAtExit'}}
    manager.reRegister(0);                               // expected-warning {{cannot call function 'reRegister'}}
  }

  static void oneRegistrationIsUnderWay(db_event_mgr &manager) {
    manager.awaitAcknowledgement();  // expected-warning {{requires holding mutex 'manager.m_regLock'}}
    const mutex_guard held(manager.m_regLock);
    manager.awaitAcknowledgement();
    manager.announceRegistration("", "", 0, 0);  // expected-warning {{cannot call function 'announceRegistration'}}
  }

  static void locksInTheirOrder(db_event_mgr &manager) {
    const mutex_guard run(manager.m_runLock);
    const mutex_guard reg(manager.m_regLock);
    const read_guard map(manager.m_mapLock);
    const read_guard sock(manager.m_sockLock);
  }

  static void runAfterReg(db_event_mgr &manager) {
    const mutex_guard reg(manager.m_regLock);
    const mutex_guard run(manager.m_runLock);  // expected-warning {{'m_runLock' must be acquired before 'm_regLock'}}
  }

  static void regAfterMap(db_event_mgr &manager) {
    const read_guard map(manager.m_mapLock);
    const mutex_guard reg(manager.m_regLock);  // expected-warning {{'m_regLock' must be acquired before 'm_mapLock'}}
  }

  static void mapAfterSock(db_event_mgr &manager) {
    const read_guard sock(manager.m_sockLock);
    const read_guard map(manager.m_mapLock);  // expected-warning {{'m_mapLock' must be acquired before 'm_sockLock'}}
  }

  static void runAfterSock(db_event_mgr &manager) {
    const read_guard sock(manager.m_sockLock);
    const mutex_guard run(manager.m_runLock);  // expected-warning {{'m_runLock' must be acquired before 'm_sockLock'}}
  }
};

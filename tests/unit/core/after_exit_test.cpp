// Calls that come when everything of the library has been emptied at exit, as from a thread that still runs or from an
// exit handler that was registered before the library was loaded.
#include "child_name.h"
#include "core/connection.h"
#include "core/log.h"
#include "event/db_event_mgr.h"
#include "exit_order.h"
#include "in_child.h"
#include "query/raw_set.h"
#include "support/system_log.h"
#include "writing_test.h"

namespace {

std::string *s_db;
_orv_db_handle_t *s_handle;

void expect(bool holds, const char *what) {
  if (holds) return;
  std::cout << "not so after exit: " << what << std::endl;
  _exit(1);
}

// Runs `late` when the library has been emptied; what does not hold then is the child's exit status.
int exitAndThen(const ProgramArguments &arguments, void (*late)()) {
  s_db = new std::string(arguments.at(0));
  s_handle = openHandle(*s_db).release();
  setCallAfterLibrary(late);
  return s_handle != nullptr ? 0 : 1;
}

// Tells the test that the late calls were made.
void done() {
  delete s_db;
  std::cout << "done" << std::flush;
}

CHILD_PROGRAM(OpensAfterExit) {
  return exitAndThen(arguments, [] {
    expect(openHandle(*s_db) == nullptr, "open gives null");
    orv_db_close(s_handle);
    done();
  });
}

CHILD_PROGRAM(AnnouncesAfterExit) {
  return exitAndThen(arguments, [] {
    expect(orv_db_notify_change("d", "t", ORV_DB_ACTION_INSERT, 1) == ORV_DB_GONE, "notify gives 12");
    expect(orv_db_register_callback("d", "t", ORV_DB_ACTION_INSERT, nullptr, 0, nullptr) == ORV_DB_GONE,
           "register gives 12");
    expect(orv_db_retry_init() == 0, "the start is not tried again");
    orv_db_close(s_handle);
    done();
  });
}

CHILD_PROGRAM(WritesAndReadsAfterExit) {
  return exitAndThen(arguments, [] {
    const Handle handle(s_handle);
    expect(s_mapConnInfo->empty(), "the registry is empty");
    expect(insertRow(handle, "t", 1) == 0, "insert gives 0");
    expect(orv_db_begin_transaction(handle.get()) == 0, "begin gives 0");
    expect(updateRows(handle, "t", 2, nullptr) == 0, "update gives 0");
    expect(orv_db_commit_transaction(handle.get()) == 0, "commit gives 0");
    expect(rawValue(handle, "SELECT value FROM t") == "2", "a raw query gives its rows");
    ResultSetInfo *rows = nullptr;
    expect(orv_db_query(handle.get(), "t", nullptr, 0, nullptr, nullptr, 0, nullptr, &rows) == 0, "query gives 0");
    expect(orv_db_result_step(rows) == ORV_DB_ROW, "a query gives its rows");
    orv_db_free_result(rows);
    done();
  });
}

CHILD_PROGRAM(ForksAfterExit) {
  return exitAndThen(arguments, [] {
    expect(inChild([] { return openHandle(*s_db) == nullptr ? 0 : 1; }) == exited(0), "a fork works");
    orv_db_close(s_handle);
    done();
  });
}

// A thread that holds the locks while the process exits may never let them go.
CHILD_PROGRAM(ForksAfterExitWhileTheEventManagerIsLocked) {
  return exitAndThen(arguments, [] {
    db_event_mgr::getInstance()->prepare_for_fork();
    expect(inChild([] { return 0; }) == exited(0), "a fork works");
    orv_db_close(s_handle);
    done();
  });
}

// Only an exit handler can tell, since the connection ends with the process in any case.
CHILD_PROGRAM(ClosesAfterExit) {
  return exitAndThen(arguments, [] {
    AdminConnection admin(databaseServer());
    const std::string count = "SELECT COUNT(*) FROM information_schema.processlist WHERE id = " +
                              std::to_string(mysql_thread_id(&s_handle->mysql));
    const auto isConnected = [&] { return admin.value(count) == "1"; };
    expect(isConnected(), "the connection stands");
    orv_db_close(s_handle);
    expect(waitUntil([&] { return !isConnected(); }), "close ends the connection");
    done();
  });
}

CHILD_PROGRAM(LogsAfterExit) {
  return exitAndThen(arguments, [] {
    db_api_log("after exit");
    orv_db_close(s_handle);
    done();
  });
}

class AfterExit : public DatabaseTest {
 protected:
  AfterExit() { createTable(admin(), "t"); }

  void expectSuccess(const RegisteredProgram &program, const std::string &name = "") {
    ChildProgram child(program, {db()}, named(name));
    EXPECT_EQ(child.wait(), exited(0));
    EXPECT_EQ(child.output(), "done");
  }

  NotificationPeer peer_;
};

}  // namespace

TEST_F(AfterExit, OpenReturnsNull) { expectSuccess(OpensAfterExit); }

// The registry is empty by then, and is not asked.
TEST_F(AfterExit, CloseEndsTheConnection) { expectSuccess(ClosesAfterExit); }

TEST_F(AfterExit, NothingIsAnnounced) {
  expectSuccess(AnnouncesAfterExit);
  EXPECT_EQ(peer_.remainingRecords(), std::vector<PeerRecord>{});
  EXPECT_EQ(peer_.connectionCount(), 1);
}

TEST_F(AfterExit, AnOpenHandleWritesAndReadsWithoutAnnouncing) {
  expectSuccess(WritesAndReadsAfterExit);
  EXPECT_EQ(admin().value("SELECT value FROM t"), "2");
  EXPECT_EQ(peer_.remainingRecords(), std::vector<PeerRecord>{});
}

TEST_F(AfterExit, ForkHandlersLeaveTheEventManagerAlone) {
  expectSuccess(ForksAfterExit);
  EXPECT_EQ(peer_.connectionCount(), 1);
}

TEST_F(AfterExit, ForkDoesNotWaitForALockOfTheEventManager) {
  expectSuccess(ForksAfterExitWhileTheEventManagerIsLocked);
}

TEST_F(AfterExit, TheLogCanStillBeWritten) {
  SystemLog log;
  expectSuccess(LogsAfterExit, "QZ_x");
  EXPECT_EQ(log.texts(), std::vector<std::string>{"[DBAPI] after exit"});
}

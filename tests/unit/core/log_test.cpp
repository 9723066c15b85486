// The lines in the system log: who writes them, and how they look.
#include "core/log.h"

#include <gtest/gtest.h>
#include <pthread.h>
#include <unistd.h>

#include <filesystem>
#include <iostream>
#include <string>
#include <vector>

#include "child_name.h"
#include "support/system_log.h"
#include "writing_test.h"

namespace {

using Lines = std::vector<std::string>;

CHILD_PROGRAM(LogsText) {
  db_api_log("%s", arguments.at(0).c_str());
  return 0;
}

CHILD_PROGRAM(LogsNumbers) {
  db_api_log("%d of %s: %c", 7, "eight", 'n');
  return 0;
}

std::string processAndThread() {
  return "PID: " + std::to_string(getpid()) + ", PPID: " + std::to_string(getppid()) +
         ", TID: " + std::to_string(static_cast<unsigned int>(pthread_self()));
}

// Prints what its line says of it.
CHILD_PROGRAM(LogsProcess) {
  db_api_process_info(arguments.at(0).c_str());
  std::cout << processAndThread() << std::flush;
  return 0;
}

// Logs under each of the names that it gives itself.
CHILD_PROGRAM(LogsAndRenamesItself) {
  std::filesystem::path self = std::filesystem::read_symlink("/proc/self/exe");
  for (const char *name : {"QZ_second", "third", "QZ_fourth"}) {
    db_api_log("before %s", name);
    std::filesystem::rename(self, self.parent_path() / name);
    self = std::filesystem::read_symlink("/proc/self/exe");
  }
  db_api_log("at the end");
  return 0;
}

// Prints its handle's address, then what its lines say of the process.
CHILD_PROGRAM(BeginsAndCommits) {
  const Handle handle = openHandle(arguments.at(0));
  EXPECT_EQ(orv_db_begin_transaction(handle.get()), 0);
  EXPECT_EQ(orv_db_commit_transaction(handle.get()), 0);
  std::cout << handle.get() << "; " << processAndThread() << std::flush;
  return 0;
}

CHILD_PROGRAM(DoesEverythingThatIsNotLogged) {
  EXPECT_EQ(openHandle("there_is_no_such_database"), nullptr);
  const Handle handle = openHandle(arguments.at(0));
  EXPECT_EQ(orv_db_test_connection(handle.get()), 0);
  EXPECT_EQ(rawQuery(handle, "SELECT 1"), 0U);
  EXPECT_EQ(orv_db_raw_affected_rows(handle.get()), 1U);
  EXPECT_EQ(insertRow(handle, "t", 1), 0);
  EXPECT_EQ(updateRows(handle, "t", 2, nullptr), 0);
  EXPECT_EQ(deleteRows(handle, "t", nullptr), 0);
  EXPECT_EQ(orv_db_rollback_transaction(handle.get()), 0);
  EXPECT_EQ(orv_db_begin_transaction(nullptr), 3);
  EXPECT_EQ(orv_db_commit_transaction(nullptr), 3);
  db_api_log("the end");
  return 0;
}

class Log : public testing::Test {
 protected:
  SystemLog log_;
};

class TransactionLog : public DatabaseTest {
 protected:
  SystemLog log_;
};

}  // namespace

TEST_F(Log, IsWrittenAsAUsersErrorWithThePrefix) {
  EXPECT_EQ(runAs("QZ_x", LogsText, {"text"}), exited(0));
  ASSERT_EQ(log_.lines().size(), 1U);
  EXPECT_EQ(log_.lines()[0].priority, 11);
  EXPECT_EQ(log_.lines()[0].program, "QZ_x");
  EXPECT_EQ(log_.lines()[0].text, "[DBAPI] text");
}

TEST_F(Log, FormatsAsPrintfDoes) {
  EXPECT_EQ(runAs("QZ_x", LogsNumbers), exited(0));
  EXPECT_EQ(log_.texts(), Lines{"[DBAPI] 7 of eight: n"});
}

TEST_F(Log, DoesNotTakeTheMessageForAFormat) {
  EXPECT_EQ(runAs("QZ_x", LogsText, {"100%d %s %n"}), exited(0));
  EXPECT_EQ(log_.texts(), Lines{"[DBAPI] 100%d %s %n"});
}

TEST_F(Log, IsWrittenByEveryProgramWhoseNameBeginsWithQZAndAnUnderscore) {
  EXPECT_EQ(runAs("QZ_", LogsText, {"1"}), exited(0));
  EXPECT_EQ(runAs("QZ_tkvmgr", LogsText, {"2"}), exited(0));
  EXPECT_EQ(runAs("QZ_.QZ", LogsText, {"3"}), exited(0));
  EXPECT_EQ(log_.texts(), (Lines{"[DBAPI] 1", "[DBAPI] 2", "[DBAPI] 3"}));
}

TEST_F(Log, IsNotWrittenByAnyOtherProgram) {
  for (const char *name : {"qz_x", "Qz_x", "QZx", "QZ-x", "QZ", "xQZ_x", "tkvmgr", "tkvmgr_x"}) {
    EXPECT_EQ(runAs(name, LogsText, {name}), exited(0)) << name;
  }
  EXPECT_EQ(log_.texts(), Lines{});
  EXPECT_EQ(runAs("QZ_x", LogsText, {"1"}), exited(0));
  EXPECT_EQ(log_.texts(), Lines{"[DBAPI] 1"});
}

TEST_F(Log, IsWrittenOrNotByTheNameOfTheMoment) {
  EXPECT_EQ(runAs("QZ_first", LogsAndRenamesItself), exited(0));
  EXPECT_EQ(log_.texts(), (Lines{"[DBAPI] before QZ_second", "[DBAPI] before third", "[DBAPI] at the end"}));
}

TEST_F(Log, Keeps1022CharactersOfAMessage) {
  EXPECT_EQ(runAs("QZ_x", LogsText, {std::string(1022, 'x')}), exited(0));
  EXPECT_EQ(log_.texts(), Lines{"[DBAPI] " + std::string(1022, 'x')});
}

TEST_F(Log, CutsAMessageAt1022Characters) {
  EXPECT_EQ(runAs("QZ_x", LogsText, {std::string(1022, 'x') + "y"}), exited(0));
  EXPECT_EQ(runAs("QZ_x", LogsText, {std::string(5000, 'z')}), exited(0));
  EXPECT_EQ(log_.texts(), (Lines{"[DBAPI] " + std::string(1022, 'x'), "[DBAPI] " + std::string(1022, 'z')}));
}

TEST_F(Log, NamesTheProcessAndTheThread) {
  ChildProgram child(LogsProcess, {"occasion"}, named("QZ_x"));
  EXPECT_EQ(child.wait(), exited(0));
  EXPECT_EQ(log_.texts(), Lines{"[DBAPI] [occasion] Process: QZ_x, " + child.output() + "\n"});
}

TEST_F(Log, CutsTheProcessLineToo) {
  EXPECT_EQ(runAs("QZ_x", LogsProcess, {std::string(1500, 'x')}), exited(0));
  EXPECT_EQ(log_.texts(), Lines{"[DBAPI] [" + std::string(1021, 'x')});
}

TEST_F(Log, HasNoProcessLineOfAnyOtherProgram) {
  for (const char *name : {"tkvmgr", "tkvmgr_x", "tkvmgrs", "qz_x", "QZx", "other"}) {
    EXPECT_EQ(runAs(name, LogsProcess, {name}), exited(0)) << name;
  }
  EXPECT_EQ(log_.texts(), Lines{});
  EXPECT_EQ(runAs("QZ_tkvmgr", LogsProcess, {"1"}), exited(0));
  EXPECT_EQ(log_.lines().size(), 1U);
}

// The misspelling is what whoever searches these logs searches for.
TEST_F(TransactionLog, HasTwoLinesForABeginAndTwoForACommit) {
  ChildProgram child(BeginsAndCommits, {db()}, named("QZ_x"));
  EXPECT_EQ(child.wait(), exited(0)) << child.output();
  const std::string handle = child.output().substr(0, child.output().find(';'));
  const std::string process = child.output().substr(handle.size() + 2);
  EXPECT_EQ(log_.texts(), (Lines{"[DBAPI] [orv_db_begin_transaction] Process: QZ_x, " + process + "\n",
                                 "[DBAPI] handle in begin transcation: 0x" + handle + "\n",
                                 "[DBAPI] [orv_db_commit_transaction] Process: QZ_x, " + process + "\n",
                                 "[DBAPI] handle in commit transcation: 0x" + handle + "\n"}));
}

TEST_F(TransactionLog, HasNoLineForARollbackOrAnythingElse) {
  createTable(admin(), "t");
  EXPECT_EQ(runAs("QZ_x", DoesEverythingThatIsNotLogged, {db()}), exited(0));
  EXPECT_EQ(log_.texts(), Lines{"[DBAPI] the end"});
}

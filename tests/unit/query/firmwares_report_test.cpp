// Raw queries that announce a change: those with rows that name the table Firmwares and do not select.
#include <cstdlib>
#include <regex>

#include "support/child_program.h"
#include "support/connected_peer.h"
#include "support/system_log.h"
#include "unit/query/page_end.h"
#include "unit/query/query_fixture.h"

namespace {

void createTables(AdminConnection &admin) {
  admin.query("CREATE TABLE Firmwares (id INT PRIMARY KEY AUTO_INCREMENT, name TEXT)");
  admin.query("CREATE TABLE other (id INT PRIMARY KEY AUTO_INCREMENT, name TEXT)");
}

class FirmwaresReport : public QueryTest {
 protected:
  FirmwaresReport() { createTables(admin()); }

  // Nothing but this has been announced since the last look.
  void expectReports(int count, const std::string &because) {
    const std::vector<PeerRecord> expected(static_cast<std::size_t>(count),
                                           PeerRecord{0, changeRecord(db(), "Firmwares", 7, 0)});
    EXPECT_EQ(peer_.remainingRecords(), expected) << because;
  }
  void expectReport(const std::string &sql) {
    EXPECT_EQ(raw(sql).status, 0U) << orv_db_get_error_str();
    expectReports(1, sql);
  }
  // The last statement shows that reports do come.
  void expectNoReport(const std::string &sql) {
    raw(sql);
    expectReports(0, sql);
    expectReport("SHOW COLUMNS FROM Firmwares");
  }

  ConnectedPeer peer_;
};

TEST_F(FirmwaresReport, IsMadeForWritesThatReturnRows) {
  expectReport("INSERT INTO Firmwares (name) VALUES ('a') RETURNING id");
  expectReport("REPLACE INTO Firmwares VALUES (1, 'b') RETURNING id");
  expectReport("DELETE FROM Firmwares RETURNING id");
}

TEST_F(FirmwaresReport, IsMadeForStatementsThatOnlyLook) {
  for (const char *sql :
       {"SHOW COLUMNS FROM Firmwares", "DESCRIBE Firmwares", "CHECK TABLE Firmwares", "ANALYZE TABLE Firmwares",
        "SHOW CREATE TABLE Firmwares", "EXPLAIN UPDATE Firmwares SET id = 1"})
    expectReport(sql);
}

TEST_F(FirmwaresReport, IsMadeForTheNameAnywhereInTheText) {
  expectReport("SHOW VARIABLES LIKE 'version' /* notFirmwaresEither */");
  expectReport("VALUES ('Firmwares')");
}

TEST_F(FirmwaresReport, IsMadeForAResultOfNoRows) { expectReport("SHOW TABLES LIKE 'noFirmwares'"); }

TEST_F(FirmwaresReport, IsMadeWhenTheRowsAreNotWanted) {
  const std::string sql = "SHOW COLUMNS FROM Firmwares";
  EXPECT_EQ(orv_db_raw_query(handle(), sql.data(), sql.size(), nullptr), 0U);
  expectReports(1, sql);
}

TEST_F(FirmwaresReport, NeedsNoNulBehindTheText) {
  const PageEnd sql("SHOW COLUMNS FROM Firmwares");
  EXPECT_EQ(orv_db_raw_query(handle(), sql.data(), sql.size(), nullptr), 0U);
  expectReports(1, "text without a NUL");
}

TEST_F(FirmwaresReport, IsNotMadeForAnUpdateInsertOrDelete) {
  expectNoReport("INSERT INTO Firmwares (name) VALUES ('a')");
  expectNoReport("UPDATE Firmwares SET name = 'b'");
  expectNoReport("DELETE FROM Firmwares");
  expectNoReport("TRUNCATE TABLE Firmwares");
}

TEST_F(FirmwaresReport, IsNotMadeForASelectInAnyCase) {
  expectNoReport("SELECT * FROM Firmwares");
  expectNoReport("select * from Firmwares");
  expectNoReport("sElEcT * FROM Firmwares");
  expectNoReport("INSERT INTO Firmwares (name) SELECT 'x' RETURNING id");
}

TEST_F(FirmwaresReport, IsNotMadeForSelectInsideAnotherWord) {
  expectNoReport("INSERT INTO Firmwares (name) VALUES ('x') RETURNING id AS preSelected");
}

TEST_F(FirmwaresReport, IsNotMadeForTheNameInAnotherCase) {
  expectNoReport("SHOW TABLES LIKE 'firmwares'");
  expectNoReport("SHOW TABLES LIKE 'FIRMWARES'");
}

TEST_F(FirmwaresReport, IsNotMadeForAnotherTable) {
  expectNoReport("INSERT INTO other (name) VALUES ('a') RETURNING id");
}

TEST_F(FirmwaresReport, IsNotMadeForTextBehindTheCountedBytes) {
  const std::string sql = "SHOW TABLES -- Firmwares";
  EXPECT_EQ(orv_db_raw_query(handle(), sql.data(), 11, nullptr), 0U);
  expectReports(0, sql);
  expectReport(sql);
}

TEST_F(FirmwaresReport, IsNotMadeForAStatementThatFails) {
  expectNoReport("SHOW COLUMNS FROM missingFirmwares");
  expectNoReport("INSERT INTO Firmwares VALUES (1, 2, 3) RETURNING id");
}

TEST_F(FirmwaresReport, IsNotMadeByAQueryWithParameters) {
  EXPECT_EQ(query({"Firmwares"}).status, 0U);
  expectReports(0, "orv_db_query");
  expectReport("SHOW COLUMNS FROM Firmwares");
}

TEST_F(FirmwaresReport, WaitsForTheCommitInsideATransaction) {
  ASSERT_EQ(orv_db_begin_transaction(handle()), 0);
  EXPECT_EQ(raw("INSERT INTO Firmwares (name) VALUES ('a') RETURNING id").status, 0U);
  EXPECT_EQ(raw("INSERT INTO Firmwares (name) VALUES ('b') RETURNING id").status, 0U);
  expectReports(0, "before the commit");
  ASSERT_EQ(orv_db_commit_transaction(handle()), 0);
  expectReports(1, "after the commit");
}

// Runs the statements of its arguments, which follow the name of the database.
CHILD_PROGRAM(RunsRawQueries) {
  const DatabaseServer server = databaseServer();
  const Handle handle(orv_db_open(server.host.c_str(), server.user.c_str(), server.password.c_str(),
                                  arguments.at(0).c_str(), server.port));
  EXPECT_TRUE(handle) << orv_db_get_error_str();
  for (std::size_t i = 1; i < arguments.size(); ++i)
    EXPECT_EQ(runRaw(handle.get(), arguments[i]).status, 0U) << arguments[i];
  return 0;
}

class FirmwaresLog : public DatabaseTest {
 protected:
  FirmwaresLog() { createTables(admin()); }
  SystemLog log_;
};

TEST_F(FirmwaresLog, NamesTheProcessAndTheStatementThatWasReported) {
  ASSERT_EQ(runAs("QZ_firmware", RunsRawQueries, {db(), "SHOW COLUMNS FROM Firmwares"}), exited(0));
  ASSERT_EQ(log_.lines().size(), 1U);
  const LogLine &line = log_.lines().front();
  EXPECT_EQ(line.priority, 11);
  const std::regex expected(
      R"(\[DBAPI\] \[SHOW COLUMNS FROM Firmwares\] Process: QZ_firmware, PID: (\d+), PPID: (\d+), )"
      R"(TID: \d+\n)");
  std::smatch found;
  ASSERT_TRUE(std::regex_match(line.text, found, expected)) << line.text;
  EXPECT_NE(found[1], std::to_string(getpid()));
}

TEST_F(FirmwaresLog, HasNoLineForWhatIsNotReported) {
  ASSERT_EQ(runAs("QZ_firmware", RunsRawQueries,
                  {db(), "UPDATE Firmwares SET id = 1", "SELECT * FROM Firmwares", "SHOW COLUMNS FROM other",
                   "SHOW TABLES LIKE 'firmwares'", "DESCRIBE Firmwares"}),
            exited(0));
  ASSERT_EQ(log_.lines().size(), 1U);
  EXPECT_NE(log_.texts().front().find("[DESCRIBE Firmwares]"), std::string::npos);
}

TEST_F(FirmwaresLog, CutsALongStatement) {
  const std::string sql = "VALUES ('Firmwares " + std::string(3000, 'x') + "')";
  ASSERT_EQ(runAs("QZ_firmware", RunsRawQueries, {db(), sql}), exited(0));
  EXPECT_EQ(log_.texts(), std::vector{"[DBAPI] " + ("[" + sql).substr(0, 1022)});
}

}  // namespace

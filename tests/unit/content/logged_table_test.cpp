// The table Firmwares: writes to it are logged together with the statement.
#include <syslog.h>

#include <locale>

#include "child_connection.h"
#include "support/system_log.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;

namespace {

constexpr char kLogsItsWrites[] = "QZ_content";

class LoggedTable : public TableTest {
 public:
  LoggedTable() { createTable("Firmwares"); }

  void createTable(const std::string &table) {
    sql("CREATE TABLE " + table + " (_id INT PRIMARY KEY AUTO_INCREMENT, a INT, b VARCHAR(50))");
    sql("INSERT INTO " + table + " (a, b) VALUES (1, 'one')");
  }

  Ending runLogged(const RegisteredProgram &program) {
    return runAs(kLogsItsWrites, program, connectionArguments(*this));
  }

  // The statements in the log's process lines.
  std::vector<std::string> loggedStatements() {
    const std::string begin = "[DBAPI] [";
    const std::string end = "] Process: " + std::string(kLogsItsWrites) + ", PID: ";
    std::vector<std::string> statements;
    for (const std::string &text : log_.texts()) {
      const std::size_t length = text.find(end);
      if (text.compare(0, begin.size(), begin) != 0 || length == std::string::npos) continue;
      const std::string tag = text.substr(begin.size(), length - begin.size());
      if (tag.compare(0, 7, "orv_db_") != 0) statements.push_back(tag);
    }
    return statements;
  }

  SystemLog &log() { return log_; }

 private:
  SystemLog log_;
};

int insert(const Handle &handle, const char *table, const Content &content) {
  return orv_db_insert(handle.get(), table, content, nullptr, nullptr);
}

int update(const Handle &handle, const char *table, const Content &content, const char *where, int param) {
  const _orv_db_param_t params[] = {intParam(param)};
  return orv_db_update(handle.get(), table, content, where, params, 1, nullptr);
}

int remove(const Handle &handle, const char *table, const char *where, int param) {
  const _orv_db_param_t params[] = {intParam(param)};
  return orv_db_delete(handle.get(), table, where, params, 1, nullptr);
}

}  // namespace

CHILD_PROGRAM(InsertsARow) { return insert(connect(arguments), "Firmwares", Content().with("b", "x").with("a", 1)); }

TEST_F(LoggedTable, LogsAnInsertWithItsValuesAsLiterals) {
  ASSERT_EQ(runLogged(InsertsARow), exited(0));
  EXPECT_THAT(loggedStatements(), ElementsAre("INSERT INTO Firmwares(a,b) VALUES (1,'x')"));
}

TEST_F(LoggedTable, LogsOneLineThatNamesTheProcess) {
  ASSERT_EQ(runLogged(InsertsARow), exited(0));
  const std::vector<LogLine> &lines = log().lines();
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_EQ(lines[0].priority, LOG_USER | LOG_ERR);
  EXPECT_THAT(lines[0].text,
              MatchesRegex("\\[DBAPI\\] \\[INSERT INTO Firmwares\\(a,b\\) VALUES \\(1,'x'\\)\\] Process: QZ_content, "
                           "PID: [0-9]+, PPID: [0-9]+, TID: [0-9]+\n"));
}

TEST_F(LoggedTable, LogsNothingInAProgramOfAnotherName) {
  ASSERT_EQ(runAs("content", InsertsARow, connectionArguments(*this)), exited(0));
  EXPECT_THAT(log().texts(), IsEmpty());
  ASSERT_EQ(runLogged(InsertsARow), exited(0));
  EXPECT_THAT(log().texts(), ::testing::SizeIs(1));
}

CHILD_PROGRAM(InsertsEveryKindOfValue) {
  const Content content;
  orv_db_content_put_blob(content, "Z", "", 0);
  orv_db_content_put_char(content, "a", 'A');
  orv_db_content_put_uchar(content, "b", 200);
  orv_db_content_put_short_int(content, "c", -2);
  orv_db_content_put_short_uint(content, "d", 65535);
  orv_db_content_put_int(content, "e", -3);
  orv_db_content_put_uint(content, "f", 4294967295U);
  orv_db_content_put_int64(content, "g", -4);
  orv_db_content_put_uint64(content, "h", 18446744073709551615ULL);
  orv_db_content_put_float(content, "i", 0.1F);
  orv_db_content_put_double(content, "j", 1e-7);
  orv_db_content_put_text(content, "k", "it's");
  orv_db_content_put_blob(content, "l", "raw'", 4);
  orv_db_content_put_null(content, "n");
  orv_db_content_put_text(content, "o", "");
  orv_db_content_put_text(content, "p", "?");
  return insert(connect(arguments), "Firmwares", content);
}

TEST_F(LoggedTable, LogsEveryKindOfValue) {
  sql("CREATE OR REPLACE TABLE Firmwares (Z BLOB, a INT, b INT, c INT, d INT, e INT, f BIGINT, g BIGINT, h BIGINT "
      "UNSIGNED,"
      " i FLOAT, j DOUBLE, k TEXT, l BLOB, n INT, o TEXT, p TEXT)");
  ASSERT_EQ(runLogged(InsertsEveryKindOfValue), exited(0));
  EXPECT_THAT(loggedStatements(), ElementsAre("INSERT INTO Firmwares(Z,a,b,c,d,e,f,g,h,i,j,k,l,n,o,p) VALUES "
                                              "(,A,\xC8,-2,-1,-3,-1,-4,-1,0.1,1e-07,'it\\'s',raw',NULL,'',?)"));
  EXPECT_EQ(rows("SELECT p FROM Firmwares"), (std::vector<Row>{{"?"}}));
}

CHILD_PROGRAM(InsertsNumbersWithALocaleOfItsOwn) {
  struct Decorated : std::numpunct<char> {
    char do_decimal_point() const override { return ','; }
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\3"; }
  };
  std::locale::global(std::locale(std::locale::classic(), new Decorated));
  const Content content = Content().with("a", 1000000);
  orv_db_content_put_double(content, "b", 1234.5);
  return insert(connect(arguments), "Firmwares", content);
}

TEST_F(LoggedTable, LogsNumbersTheSameWayInEveryLocale) {
  ASSERT_EQ(runLogged(InsertsNumbersWithALocaleOfItsOwn), exited(0));
  EXPECT_THAT(loggedStatements(), ElementsAre("INSERT INTO Firmwares(a,b) VALUES (1000000,1234.5)"));
}

CHILD_PROGRAM(UpdatesARow) {
  return update(connect(arguments), "Firmwares", Content().with("b", "new").with("a", 2), "a=?", 1);
}

TEST_F(LoggedTable, LogsAnUpdateWithItsValuesAsLiteralsAndThePlaceholdersOfWhere) {
  ASSERT_EQ(runLogged(UpdatesARow), exited(0));
  EXPECT_THAT(loggedStatements(), ElementsAre("UPDATE Firmwares SET a=2,b='new' WHERE a=?"));
}

CHILD_PROGRAM(UpdatesEveryRow) {
  return orv_db_update(connect(arguments).get(), "Firmwares", Content().with("a", 2), nullptr, nullptr, 0, nullptr);
}

TEST_F(LoggedTable, LogsAnUpdateWithoutWhere) {
  ASSERT_EQ(runLogged(UpdatesEveryRow), exited(0));
  EXPECT_THAT(loggedStatements(), ElementsAre("UPDATE Firmwares SET a=2"));
}

CHILD_PROGRAM(DeletesARow) { return remove(connect(arguments), "Firmwares", "a=?", 1); }

TEST_F(LoggedTable, LogsADeleteWithItsPlaceholders) {
  ASSERT_EQ(runLogged(DeletesARow), exited(0));
  EXPECT_THAT(loggedStatements(), ElementsAre("DELETE FROM Firmwares WHERE a=?"));
  EXPECT_THAT(rows("SELECT a FROM Firmwares"), IsEmpty());
}

CHILD_PROGRAM(WritesToOtherTables) {
  const Handle handle = connect(arguments);
  for (const char *table : {"firmwares", "FIRMWARES", "Firmwares2", "`Firmwares`"}) {
    EXPECT_EQ(insert(handle, table, Content().with("a", 2)), ORV_DB_OK) << table;
    EXPECT_EQ(update(handle, table, Content().with("a", 3), "a=?", 2), ORV_DB_OK) << table;
    EXPECT_EQ(remove(handle, table, "a=?", 3), ORV_DB_OK) << table;
  }
  return insert(handle, "Firmwares", Content().with("a", 4));
}

TEST_F(LoggedTable, LogsNoOtherTableAndNoOtherSpelling) {
  for (const char *table : {"firmwares", "FIRMWARES", "Firmwares2"})
    createTable(table);
  ASSERT_EQ(runLogged(WritesToOtherTables), exited(0));
  EXPECT_THAT(loggedStatements(), ElementsAre("INSERT INTO Firmwares(a) VALUES (4)"));
  EXPECT_THAT(log().texts(), ::testing::SizeIs(1));
}

CHILD_PROGRAM(FailsToWrite) {
  const Handle handle = connect(arguments);
  EXPECT_EQ(insert(handle, "Firmwares", Content().with("missing", 2)), ORV_DB_ERROR);
  EXPECT_EQ(update(handle, "Firmwares", Content().with("missing", 3), "a=?", 2), ORV_DB_ERROR);
  EXPECT_EQ(remove(handle, "Firmwares", "missing=?", 3), ORV_DB_ERROR);
  return insert(handle, "Firmwares", Content().with("a", 4));
}

TEST_F(LoggedTable, LogsNoWriteThatFailed) {
  ASSERT_EQ(runLogged(FailsToWrite), exited(0));
  EXPECT_THAT(loggedStatements(), ElementsAre("INSERT INTO Firmwares(a) VALUES (4)"));
}

CHILD_PROGRAM(ChangesNothing) {
  const Handle handle = connect(arguments);
  EXPECT_EQ(update(handle, "Firmwares", Content().with("a", 2), "a=?", 99), ORV_DB_OK);
  EXPECT_EQ(remove(handle, "Firmwares", "a=?", 99), ORV_DB_OK);
  orv_db_begin_transaction(handle.get());
  EXPECT_EQ(update(handle, "Firmwares", Content().with("a", 3), "a=?", 99), ORV_DB_OK);
  return orv_db_commit_transaction(handle.get());
}

TEST_F(LoggedTable, LogsAnUpdateThatChangedNothingInsideATransactionAlone) {
  ASSERT_EQ(runLogged(ChangesNothing), exited(0));
  EXPECT_THAT(loggedStatements(), ElementsAre("DELETE FROM Firmwares WHERE a=?", "UPDATE Firmwares SET a=3 WHERE a=?"));
}

// orvdb sql
#include <gmock/gmock.h>

#include "tools/tool_fixture.h"

namespace {

using testing::HasSubstr;

constexpr char kNobodyWasTold[] =
    "orvdb: nobody was told of this change: announce it with --notify TABLE or 'orvdb notify', or write with 'orvdb "
    "insert', 'update' or 'delete'\n";

class ToolSql : public ToolTest {
 protected:
  ToolSql() { admin().query("CREATE TABLE item (id INT AUTO_INCREMENT PRIMARY KEY, name VARCHAR(50))"); }

  Answer sql(const Words &more, const std::string &input = "") const { return run(onDatabase("sql", more), input); }
};

class ToolSqlWithServer : public NotifiedToolTest {
 protected:
  ToolSqlWithServer() { admin().query("CREATE TABLE item (id INT)"); }
};

TEST_F(ToolSql, TableAlignsNumbersToTheRightAndShowsNull) {
  EXPECT_EQ(sql({"SELECT 7 AS number, 'text' AS name, 1.50 AS price UNION ALL SELECT 1000, NULL, 22.00"}),
            (Answer{0,
                    "number  name  price\n"
                    "------  ----  -----\n"
                    "     7  text   1.50\n"
                    "  1000  NULL  22.00\n"
                    "2 rows\n",
                    ""}));
}

TEST_F(ToolSql, TableShowsControlCharactersEscapedAndOtherBytesAsHex) {
  EXPECT_EQ(
      sql({R"(SELECT 'a\nb\tc' AS t, CHAR(27, 91, 109, 194, 155 USING utf8mb4) AS e, UNHEX('ff00') AS x, '' AS n)"}),
      (Answer{0,
              "t        e             x       n\n"
              "-------  ------------  ------  -\n"
              "a\\nb\\tc  \\x1b[m\\u009b  0xff00  \n"
              "1 row\n",
              ""}));
}

TEST_F(ToolSql, TableMeasuresWideCharacters) {
  EXPECT_EQ(sql({"SELECT '日本' AS 'ä', 'b' AS c UNION ALL SELECT 'e\u0301', 'd'"}), (Answer{0,
                                                                                             "ä     c\n"
                                                                                             "----  -\n"
                                                                                             "日本  b\n"
                                                                                             "e\u0301     d\n"
                                                                                             "2 rows\n",
                                                                                             ""}));
}

TEST_F(ToolSql, TableWithoutRowsHasTheNames) {
  EXPECT_EQ(sql({"SELECT * FROM item"}), (Answer{0, "id  name\n--  ----\n0 rows\n", ""}));
}

TEST_F(ToolSql, CsvTellsNullFromEmptyAndFromTheTextNull) {
  EXPECT_EQ(sql({"--csv", "SELECT NULL AS a, '' AS b, 'NULL' AS c, 1 AS d"}),
            (Answer{0, "a,b,c,d\n,\"\",NULL,1\n", ""}));
}

TEST_F(ToolSql, CsvQuotesWhatNeedsIt) {
  EXPECT_EQ(sql({"--csv", R"(SELECT 'a,b' AS 'x"y', 'say "no"' AS b, 'two\nlines' AS c, UNHEX('ff00') AS d)"}),
            (Answer{0, "\"x\"\"y\",b,c,d\n\"a,b\",\"say \"\"no\"\"\",\"two\nlines\",0xff00\n", ""}));
}

TEST_F(ToolSql, JsonKeepsEveryDigitOfAnInteger) {
  admin().query(
      "CREATE TABLE number (a TINYINT, b SMALLINT UNSIGNED, c INT(6) ZEROFILL, d BIGINT, e BIGINT UNSIGNED, f BOOL)");
  admin().query("INSERT INTO number VALUES (-128, 65535, 42, -9223372036854775808, 18446744073709551615, TRUE)");
  EXPECT_EQ(
      sql({"--json", "SELECT * FROM number"}),
      (Answer{0,
              "[\n"
              "  {\"a\":-128,\"b\":65535,\"c\":42,\"d\":-9223372036854775808,\"e\":18446744073709551615,\"f\":1}\n"
              "]\n",
              ""}));
}

TEST_F(ToolSql, JsonHasFractionsDatesAndTextsAsStrings) {
  EXPECT_EQ(sql({"--json", "SELECT 12.50 AS a, 1e300 AS b, DATE('2026-11-20') AS c, 'NULL' AS d, NULL AS e, '' AS f"}),
            (Answer{0,
                    "[\n"
                    "  {\"a\":\"12.50\",\"b\":\"1e300\",\"c\":\"2026-11-20\",\"d\":\"NULL\",\"e\":null,\"f\":\"\"}\n"
                    "]\n",
                    ""}));
}

// The library has one type for all of these.
TEST_F(ToolSql, JsonHasMediumIntegersAndYearsAsStrings) {
  admin().query("CREATE TABLE number (a MEDIUMINT, b YEAR)");
  admin().query("INSERT INTO number VALUES (7, 2026)");
  EXPECT_EQ(sql({"--json", "SELECT * FROM number"}), (Answer{0, "[\n  {\"a\":\"7\",\"b\":\"2026\"}\n]\n", ""}));
}

TEST_F(ToolSql, JsonHasOtherBytesAsHex) {
  EXPECT_EQ(sql({"--json", R"(SELECT UNHEX('ff00') AS a, 'ä\n' AS b)"}),
            (Answer{0, "[\n  {\"a\":{\"hex\":\"ff00\"},\"b\":\"ä\\n\"}\n]\n", ""}));
}

TEST_F(ToolSql, JsonLosesNoColumnThatHasTheNameOfAnother) {
  EXPECT_EQ(sql({"--json", "SELECT 1 AS a, 2 AS a, 3 AS a_2 UNION ALL SELECT 4, 5, 6"}),
            (Answer{0, "[\n  {\"a\":1,\"a_2\":2,\"a_2_2\":3},\n  {\"a\":4,\"a_2\":5,\"a_2_2\":6}\n]\n", ""}));
}

TEST_F(ToolSql, JsonOfNoRowsIsAnEmptyArray) {
  EXPECT_EQ(sql({"--json", "SELECT * FROM item"}), (Answer{0, "[]\n", ""}));
}

TEST_F(ToolSql, TextComesFromStandardInput) {
  EXPECT_EQ(sql({"--csv", "-"}, "SELECT 'in\nput' AS a,\n2 AS b;\n\n"), (Answer{0, "a,b\n\"in\nput\",2\n", ""}));
}

TEST_F(ToolSql, RefusedStatementIsAFailureWithTheServersReason) {
  const Answer answer = sql({"SELEKT 1"});
  EXPECT_EQ(answer.status, 1);
  EXPECT_EQ(answer.output, "");
  EXPECT_THAT(answer.errors, testing::StartsWith("orvdb: You have an error in your SQL syntax"));
}

TEST_F(ToolSql, NoDatabaseServerIsAFailure) {
  const Answer answer = run({"sql", "-P", "1", "SELECT 1"});
  EXPECT_EQ(answer.status, 1);
  EXPECT_THAT(answer.errors, testing::StartsWith("orvdb: cannot connect to 127.0.0.1: "));
}

TEST_F(ToolSql, NeedsNoDatabase) {
  EXPECT_EQ(run(onServer("sql", {"--csv", "SELECT DATABASE() AS a"})), (Answer{0, "a\n\n", ""}));
}

TEST_F(ToolSql, WriteSaysWhatItDidAndThatNobodyWasTold) {
  EXPECT_EQ(sql({"INSERT INTO item (name) VALUES ('a'), ('b')"}),
            (Answer{0, "2 rows affected, new id 1\n", kNobodyWasTold}));
  EXPECT_EQ(sql({"--json", "UPDATE item SET name = 'c' WHERE id = 2"}),
            (Answer{0, "{\"affected_rows\":1,\"insert_id\":0}\n", kNobodyWasTold}));
  EXPECT_EQ(sql({"--csv", " /* all */ DELETE FROM item"}),
            (Answer{0, "affected_rows,insert_id\n2,0\n", kNobodyWasTold}));
}

TEST_F(ToolSql, WritesThatReturnRowsOrCountNoneSayItToo) {
  EXPECT_EQ(sql({"--csv", "INSERT INTO item (name) VALUES ('a') RETURNING id"}),
            (Answer{0, "id\n1\n", kNobodyWasTold}));
  EXPECT_EQ(sql({"TRUNCATE item"}), (Answer{0, "0 rows affected\n", kNobodyWasTold}));
}

TEST_F(ToolSql, StatementThatChangesNoRowsWarnsOfNothing) {
  EXPECT_EQ(sql({"UPDATE item SET name = 'c'"}), (Answer{0, "0 rows affected\n", ""}));
  EXPECT_EQ(sql({"CREATE TABLE other SELECT 1 AS a"}), (Answer{0, "1 row affected\n", ""}));
  EXPECT_EQ(sql({"--csv", "(SELECT a FROM other)"}), (Answer{0, "a\n1\n", ""}));
}

TEST_F(ToolSql, AnnouncementWithoutANotificationServerFailsAfterTheWrite) {
  EXPECT_EQ(sql({"INSERT INTO item (name) VALUES ('a')", "--notify", "item"}),
            (Answer{1, "1 row affected, new id 1\n",
                    "orvdb: cannot announce a change of " + std::string(db()) +
                        ".item: no notification server is running: start orvdb_server\n"}));
  EXPECT_EQ(admin().value("SELECT COUNT(*) FROM item"), "1");
}

TEST_F(ToolSqlWithServer, NotifyAnnouncesThatEachTableMayHaveChanged) {
  RunningTool watch = startWatch({"--json", "--count", "2", "item", "other"});
  EXPECT_EQ(run(onDatabase("sql", {"INSERT INTO item VALUES (1)", "--notify", "item", "--notify", "other"})),
            (Answer{0, "1 row affected\n", ""}));
  const std::string heard = watch.waitForEnd().output;
  EXPECT_THAT(heard,
              HasSubstr("\"table\":\"item\",\"actions\":[\"insert\",\"update\",\"delete\"],\"scope\":\"table\""));
  EXPECT_THAT(heard,
              HasSubstr("\"table\":\"other\",\"actions\":[\"insert\",\"update\",\"delete\"],\"scope\":\"table\""));
}

TEST_F(ToolSqlWithServer, RefusedStatementIsNotAnnounced) {
  RunningTool watch = startWatch({"--json", "--count", "1", "item"});
  EXPECT_EQ(run(onDatabase("sql", {"INSERT INTO item VALUES (1, 2)", "--notify", "item"})).status, 1);
  EXPECT_EQ(run(withName("notify", {"item", "insert", "5"})).status, 0);
  EXPECT_THAT(watch.waitForEnd().output, HasSubstr("\"row_id\":5"));  // and nothing before
}

}  // namespace

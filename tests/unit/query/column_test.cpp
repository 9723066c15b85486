// What a result tells of its columns, and how a column of every type the server has reads as text.

#include "unit/query/query_fixture.h"

namespace {

struct Column {
  const char *declaration;
  const char *value;  // as SQL writes it
  _orv_db_type_t type;
  const char *text;
};

constexpr Column kColumns[] = {
    {"TINYINT", "-1", ORV_DB_TYPE_CHAR, "-1"},
    {"TINYINT UNSIGNED", "255", ORV_DB_TYPE_CHAR, "255"},
    {"BOOLEAN", "TRUE", ORV_DB_TYPE_CHAR, "1"},
    {"SMALLINT", "-2", ORV_DB_TYPE_SHORT_INT, "-2"},
    {"SMALLINT UNSIGNED", "65535", ORV_DB_TYPE_SHORT_INT, "65535"},
    {"MEDIUMINT", "-3", ORV_DB_TYPE_UNKNOWN, "-3"},
    {"MEDIUMINT UNSIGNED", "16777215", ORV_DB_TYPE_UNKNOWN, "16777215"},
    {"INT", "-4", ORV_DB_TYPE_INT, "-4"},
    {"INT UNSIGNED", "4294967295", ORV_DB_TYPE_INT, "4294967295"},
    {"INT(6) ZEROFILL", "42", ORV_DB_TYPE_INT, "000042"},
    {"BIGINT", "-5", ORV_DB_TYPE_INT64, "-5"},
    {"BIGINT UNSIGNED", "18446744073709551615", ORV_DB_TYPE_INT64, "18446744073709551615"},
    {"FLOAT", "6.5", ORV_DB_TYPE_FLOAT, "6.5"},
    {"DOUBLE", "7.25", ORV_DB_TYPE_DOUBLE, "7.25"},
    {"DECIMAL(10,2)", "8.75", ORV_DB_TYPE_DOUBLE, "8.75"},
    {"YEAR", "2024", ORV_DB_TYPE_UNKNOWN, "2024"},
    {"BIT(8)", "65", ORV_DB_TYPE_UNKNOWN, "A"},
    {"BIT(1)", "1", ORV_DB_TYPE_UNKNOWN, "\x01"},
    {"DATE", "'2024-02-03'", ORV_DB_TYPE_UNKNOWN, "2024-02-03"},
    {"TIME", "'-12:34:56'", ORV_DB_TYPE_UNKNOWN, "-12:34:56"},
    {"TIME(3)", "'12:34:56.789'", ORV_DB_TYPE_UNKNOWN, "12:34:56.789"},
    {"DATETIME", "'2024-02-03 04:05:06'", ORV_DB_TYPE_UNKNOWN, "2024-02-03 04:05:06"},
    {"DATETIME(6)", "'2024-02-03 04:05:06.789012'", ORV_DB_TYPE_UNKNOWN, "2024-02-03 04:05:06.789012"},
    {"TIMESTAMP", "'2024-02-03 04:05:06'", ORV_DB_TYPE_UNKNOWN, "2024-02-03 04:05:06"},
    {"CHAR(5)", "'ab'", ORV_DB_TYPE_TEXT, "ab"},
    {"VARCHAR(5)", "'cd'", ORV_DB_TYPE_TEXT, "cd"},
    {"BINARY(2)", "'ef'", ORV_DB_TYPE_TEXT, "ef"},
    {"VARBINARY(5)", "'gh'", ORV_DB_TYPE_TEXT, "gh"},
    {"ENUM('x','yy')", "'yy'", ORV_DB_TYPE_TEXT, "yy"},
    {"SET('p','q')", "'p,q'", ORV_DB_TYPE_TEXT, "p,q"},
    {"TINYTEXT", "'tt'", ORV_DB_TYPE_BLOB, "tt"},
    {"TEXT", "'tx'", ORV_DB_TYPE_BLOB, "tx"},
    {"MEDIUMTEXT", "'mt'", ORV_DB_TYPE_BLOB, "mt"},
    {"LONGTEXT", "'lt'", ORV_DB_TYPE_BLOB, "lt"},
    {"TINYBLOB", "'tb'", ORV_DB_TYPE_BLOB, "tb"},
    {"BLOB", "'bl'", ORV_DB_TYPE_BLOB, "bl"},
    {"MEDIUMBLOB", "'mb'", ORV_DB_TYPE_BLOB, "mb"},
    {"LONGBLOB", "'lb'", ORV_DB_TYPE_BLOB, "lb"},
    {"JSON", "'{\"a\": 1}'", ORV_DB_TYPE_BLOB, "{\"a\": 1}"},
    {"INET6", "'::1'", ORV_DB_TYPE_TEXT, "::1"},
    {"INET4", "'10.0.0.1'", ORV_DB_TYPE_TEXT, "10.0.0.1"},
    {"UUID", "'123e4567-e89b-12d3-a456-426655440000'", ORV_DB_TYPE_TEXT, "123e4567-e89b-12d3-a456-426655440000"},
};

class Columns : public BothKindsTest {
 protected:
  // One column per entry of the table above, named c0, c1, ..., and one row.
  void createTable() {
    std::string declarations;
    std::string values;
    int number = 0;
    for (const Column &column : kColumns) {
      declarations += (number == 0 ? "c" : ", c") + std::to_string(number) + ' ' + column.declaration;
      values += (number == 0 ? "" : ", ") + std::string(column.value);
      ++number;
    }
    admin().query("CREATE TABLE t (" + declarations + ")");
    admin().query("INSERT INTO t VALUES (" + values + ")");
  }

  _orv_db_type_t typeOf(ResultSetInfo *result, unsigned int index) {
    auto type = ORV_DB_TYPE_FORCE_32_BITS;
    EXPECT_EQ(orv_db_result_column_type(result, index, &type), 0U);
    return type;
  }
};
INSTANTIATE_FOR_BOTH_KINDS(Columns);

TEST_P(Columns, OfEveryTypeHaveTheirCode) {
  createTable();
  const Result result = select("*", "t");
  for (unsigned int index = 0; index < std::size(kColumns); ++index)
    EXPECT_EQ(typeOf(result.get(), index), kColumns[index].type) << kColumns[index].declaration;
}

TEST_P(Columns, OfEveryTypeAreReadAsText) {
  createTable();
  const Result row = onlyRow("*", "t");
  for (unsigned int index = 0; index < std::size(kColumns); ++index)
    EXPECT_EQ(textOf(row.get(), index), kColumns[index].text) << kColumns[index].declaration;
}

TEST_P(Columns, OfGeometryHaveTheUnknownCodeAndAreReadAsBytes) {
  admin().query("CREATE TABLE t (a POINT)");
  admin().query("INSERT INTO t VALUES (POINT(1, 2))");
  const Result row = onlyRow("a", "t");
  EXPECT_EQ(typeOf(row.get(), 0), ORV_DB_TYPE_UNKNOWN);
  EXPECT_EQ(bytesOf(row.get()), admin().value("SELECT a FROM t"));
}

TEST_P(Columns, AreCounted) {
  const Result result = select("*", "(SELECT 1 AS a, 2 AS b, 3 AS c) AS t");
  EXPECT_EQ(orv_db_result_column_count(result.get()), 3);
}

TEST_P(Columns, HaveTheirNamesAndNullPastTheLast) {
  const Result result = select("a, b AS `another name`", "(SELECT 1 AS a, 2 AS b) AS t");
  EXPECT_STREQ(orv_db_result_column_name(result.get(), 0), "a");
  EXPECT_STREQ(orv_db_result_column_name(result.get(), 1), "another name");
  EXPECT_EQ(orv_db_result_column_name(result.get(), 2), nullptr);
  EXPECT_EQ(orv_db_result_column_name(result.get(), 0xFFFFFFFF), nullptr);
}

TEST_P(Columns, AreFoundByNameInAnyCase) {
  const Result result = select("*", "(SELECT 1 AS name, 2 AS id) AS t");
  EXPECT_EQ(orv_db_result_column_index(result.get(), "ID"), 1);
  EXPECT_EQ(orv_db_result_column_index(result.get(), "id"), 1);
  EXPECT_EQ(orv_db_result_column_index(result.get(), "Name"), 0);
}

TEST_P(Columns, AreFoundByTheWholeNameOnly) {
  const Result result = select("*", "(SELECT 1 AS name, 2 AS id) AS t");
  for (const char *name : {"nam", "names", "", "i", "id "})
    EXPECT_EQ(orv_db_result_column_index(result.get(), name), -1) << '"' << name << '"';
}

TEST_P(Columns, OfTheSameNameAreFoundByTheFirst) {
  const Result result = select("1 AS a, 2 AS twin, 3 AS TWIN", "DUAL");
  EXPECT_EQ(orv_db_result_column_index(result.get(), "Twin"), 1);
}

TEST_P(Columns, AreNotFoundWithoutAName) {
  const Result result = select("*", "(SELECT 1 AS a) AS t");
  EXPECT_EQ(orv_db_result_column_index(result.get(), nullptr), -1);
  EXPECT_EQ(result->colIndex(nullptr), -1);
}

TEST_P(Columns, AreDescribedAlsoAfterTheLastRow) {
  const Result result = onlyRow("*", "(SELECT 1 AS a) AS t");
  ASSERT_EQ(orv_db_result_step(result.get()), 10U);
  EXPECT_STREQ(orv_db_result_column_name(result.get(), 0), "a");
  EXPECT_EQ(typeOf(result.get(), 0), ORV_DB_TYPE_INT);
  EXPECT_EQ(orv_db_result_column_count(result.get()), 1);
}

class RawColumns : public QueryTest {};

TEST_F(RawColumns, OfNullHaveTheUnknownCode) {
  const QueryAnswer answer = raw("SELECT NULL");
  auto type = ORV_DB_TYPE_FORCE_32_BITS;
  EXPECT_EQ(orv_db_result_column_type(answer.rows.get(), 0, &type), 0U);
  EXPECT_EQ(type, ORV_DB_TYPE_UNKNOWN);
}

}  // namespace

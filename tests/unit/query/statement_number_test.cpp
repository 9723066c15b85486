// The number getters on a prepared statement's columns: the client library converts.
#include <limits>

#include "unit/query/query_fixture.h"

namespace {

class StatementNumber : public QueryTest {
 protected:
  // The one row of these values, whose columns keep the types of the values.
  ResultSetInfo *row(const std::string &values) {
    const std::string table = "(SELECT " + values + ") AS t";
    result_ = std::move(query({table.c_str()}).rows);
    EXPECT_EQ(orv_db_result_step(result_.get()), 9U);
    return result_.get();
  }

 private:
  Result result_;
};

template <auto Function, class Out>
Out read(ResultSetInfo *row, unsigned int index = 0) {
  Out out = static_cast<Out>(99);
  EXPECT_EQ(Function(row, index, &out), 0U);
  return out;
}

TEST_F(StatementNumber, SignedLimitsAreReadWithTheirOwnGetters) {
  admin().query("CREATE TABLE t (a TINYINT, b SMALLINT, c INT, d BIGINT)");
  admin().query(
      "INSERT INTO t VALUES (-128, -32768, -2147483648, -9223372036854775808), (127, 32767, 2147483647, "
      "9223372036854775807)");
  const QueryAnswer answer = query({"t"});
  ResultSetInfo *rows = answer.rows.get();
  ASSERT_EQ(orv_db_result_step(rows), 9U);
  EXPECT_EQ((read<orv_db_result_column_char, char>(rows, 0)), static_cast<char>(-128));
  EXPECT_EQ((read<orv_db_result_column_short_int, short>(rows, 1)), -32768);
  EXPECT_EQ((read<orv_db_result_column_int, int>(rows, 2)), std::numeric_limits<int>::min());
  EXPECT_EQ((read<orv_db_result_column_int64, long long>(rows, 3)), std::numeric_limits<long long>::min());
  ASSERT_EQ(orv_db_result_step(rows), 9U);
  EXPECT_EQ((read<orv_db_result_column_char, char>(rows, 0)), 127);
  EXPECT_EQ((read<orv_db_result_column_short_int, short>(rows, 1)), 32767);
  EXPECT_EQ((read<orv_db_result_column_int, int>(rows, 2)), std::numeric_limits<int>::max());
  EXPECT_EQ((read<orv_db_result_column_int64, long long>(rows, 3)), std::numeric_limits<long long>::max());
}

TEST_F(StatementNumber, UnsignedLimitsAreReadWithTheirOwnGetters) {
  admin().query("CREATE TABLE t (a TINYINT UNSIGNED, b SMALLINT UNSIGNED, c INT UNSIGNED, d BIGINT UNSIGNED)");
  admin().query("INSERT INTO t VALUES (255, 65535, 4294967295, 18446744073709551615)");
  const QueryAnswer answer = query({"t"});
  ResultSetInfo *rows = answer.rows.get();
  ASSERT_EQ(orv_db_result_step(rows), 9U);
  EXPECT_EQ((read<orv_db_result_column_uchar, unsigned char>(rows, 0)), 255);
  EXPECT_EQ((read<orv_db_result_column_short_uint, unsigned short>(rows, 1)), 65535);
  EXPECT_EQ((read<orv_db_result_column_uint, unsigned int>(rows, 2)), 4294967295U);
  EXPECT_EQ((read<orv_db_result_column_uint64, unsigned long long>(rows, 3)), 18446744073709551615ULL);
}

TEST_F(StatementNumber, WideGettersReadNarrowColumns) {
  admin().query("CREATE TABLE t (a TINYINT, b TINYINT UNSIGNED, c MEDIUMINT, d YEAR)");
  admin().query("INSERT INTO t VALUES (-5, 250, -8388608, 2024)");
  const QueryAnswer answer = query({"t"});
  ResultSetInfo *rows = answer.rows.get();
  ASSERT_EQ(orv_db_result_step(rows), 9U);
  EXPECT_EQ((read<orv_db_result_column_int64, long long>(rows, 0)), -5);
  EXPECT_EQ((read<orv_db_result_column_int, int>(rows, 1)), 250);
  EXPECT_EQ((read<orv_db_result_column_int, int>(rows, 2)), -8388608);
  EXPECT_EQ((read<orv_db_result_column_short_int, short>(rows, 3)), 2024);
  EXPECT_EQ((read<orv_db_result_column_double, double>(rows, 1)), 250.0);
}

TEST_F(StatementNumber, FloatKindsAreReadAsTheyWereStored) {
  admin().query("CREATE TABLE t (a FLOAT, b DOUBLE, c DECIMAL(20,4))");
  admin().query("INSERT INTO t VALUES (1.5, 0.1, -123456789.1250)");
  const QueryAnswer answer = query({"t"});
  ResultSetInfo *rows = answer.rows.get();
  ASSERT_EQ(orv_db_result_step(rows), 9U);
  EXPECT_EQ((read<orv_db_result_column_float, float>(rows, 0)), 1.5F);
  EXPECT_EQ((read<orv_db_result_column_double, double>(rows, 0)), 1.5);
  EXPECT_EQ((read<orv_db_result_column_double, double>(rows, 1)), 0.1);
  EXPECT_EQ((read<orv_db_result_column_float, float>(rows, 1)), 0.1F);
  EXPECT_EQ((read<orv_db_result_column_double, double>(rows, 2)), -123456789.125);
}

TEST_F(StatementNumber, TextIsConvertedUpToTheFirstOtherCharacter) {
  ResultSetInfo *text = row("'12abc' AS a, 'abc' AS b, '-3.75' AS c");
  EXPECT_EQ((read<orv_db_result_column_int, int>(text, 0)), 12);
  EXPECT_EQ((read<orv_db_result_column_int, int>(text, 1)), 0);
  EXPECT_EQ((read<orv_db_result_column_double, double>(text, 2)), -3.75);
}

// The getter's own sign counts, not the column's: only the unsigned one reaches the upper half. Past its end the signed
// one has what the processor makes of such a number: the least one on 64-bit machines, the same bits on 32-bit Arm.
TEST_F(StatementNumber, UpperHalfOfADoubleIsReadByTheUnsignedGetter) {
  ResultSetInfo *number = row("18e18 AS a");
  EXPECT_EQ((read<orv_db_result_column_uint64, unsigned long long>(number)), 18000000000000000000ULL);
  EXPECT_EQ(
      (read<orv_db_result_column_int64, long long>(number)),
      sizeof(long) == 8 ? std::numeric_limits<long long>::min() : static_cast<long long>(18000000000000000000ULL));
}

TEST_F(StatementNumber, BitColumnIsReadAsItsByte) {
  admin().query("CREATE TABLE t (a BIT(1), b BIT(8))");
  admin().query("INSERT INTO t VALUES (1, 200)");
  const QueryAnswer answer = query({"t"});
  ASSERT_EQ(orv_db_result_step(answer.rows.get()), 9U);
  EXPECT_EQ((read<orv_db_result_column_char, char>(answer.rows.get(), 0)), 1);
  EXPECT_EQ((read<orv_db_result_column_uchar, unsigned char>(answer.rows.get(), 1)), 200);
}

TEST_F(StatementNumber, ConversionThatFailsIsNotReported) {
  ResultSetInfo *number = row("300 AS a, 5000000000 AS b, 1e300 AS c, 'x' AS d");
  for (unsigned int index = 0; index < 4; ++index) {
    read<orv_db_result_column_char, char>(number, index);
    read<orv_db_result_column_int, int>(number, index);
    read<orv_db_result_column_float, float>(number, index);
  }
  EXPECT_STREQ(orv_db_get_error_str(), "");
}

}  // namespace

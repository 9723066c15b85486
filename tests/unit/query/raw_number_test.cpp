// The number getters on the text of a raw query.
#include <cmath>
#include <limits>

#include "unit/query/accessors.h"
#include "unit/query/query_fixture.h"

namespace {

class RawNumber : public QueryTest {
 protected:
  // The row of one column that holds this text.
  ResultSetInfo *row(const std::string &text) {
    result_ = std::move(raw("SELECT '" + text + "'").rows);
    EXPECT_EQ(orv_db_result_step(result_.get()), 9U);
    return result_.get();
  }

 private:
  Result result_;
};

template <auto Function, class Out>
Out read(ResultSetInfo *row) {
  Out out = static_cast<Out>(99);
  EXPECT_EQ(Function(row, 0, &out), 0U);
  return out;
}

// What the integer getters make of one text.
struct Integers {
  int asChar;
  int asUChar;
  int asShort;
  int asUShort;
  int asInt;
  unsigned int asUInt;
  long long asInt64;
  unsigned long long asUInt64;
};

bool operator==(const Integers &left, const Integers &right) {
  const auto members = [](const Integers &read) {
    return std::tie(read.asChar, read.asUChar, read.asShort, read.asUShort, read.asInt, read.asUInt, read.asInt64,
                    read.asUInt64);
  };
  return members(left) == members(right);
}

std::ostream &operator<<(std::ostream &out, const Integers &read) {
  return out << read.asChar << ' ' << read.asUChar << ' ' << read.asShort << ' ' << read.asUShort << ' ' << read.asInt
             << ' ' << read.asUInt << ' ' << read.asInt64 << ' ' << read.asUInt64;
}

Integers readAll(ResultSetInfo *row) {
  return {static_cast<signed char>(read<orv_db_result_column_char, char>(row)),
          read<orv_db_result_column_uchar, unsigned char>(row),
          read<orv_db_result_column_short_int, short>(row),
          read<orv_db_result_column_short_uint, unsigned short>(row),
          read<orv_db_result_column_int, int>(row),
          read<orv_db_result_column_uint, unsigned int>(row),
          read<orv_db_result_column_int64, long long>(row),
          read<orv_db_result_column_uint64, unsigned long long>(row)};
}

TEST_F(RawNumber, TakesDigitsAndIgnoresWhatFollows) {
  EXPECT_EQ(readAll(row("12abc")), (Integers{12, 12, 12, 12, 12, 12, 12, 12}));
  EXPECT_EQ(readAll(row(" \t-7.9")), (Integers{-7, 249, -7, 65529, -7, 4294967289U, -7, 18446744073709551609ULL}));
}

TEST_F(RawNumber, IsZeroWithoutDigits) {
  for (const char *text : {"abc", "", "-", ".5", "0x1F"})
    EXPECT_EQ(readAll(row(text)), (Integers{0, 0, 0, 0, 0, 0, 0, 0})) << text;
}

TEST_F(RawNumber, IsCutToTheWidthOfTheGetter) {
  EXPECT_EQ(readAll(row("300")), (Integers{44, 44, 300, 300, 300, 300, 300, 300}));
  EXPECT_EQ(readAll(row("40000")), (Integers{64, 64, -25536, 40000, 40000, 40000, 40000, 40000}));
  EXPECT_EQ(readAll(row("-129")), (Integers{127, 127, -129, 65407, -129, 4294967167U, -129, 18446744073709551487ULL}));
}

// As a long of 32 bits does it, before it is cut to the width of the getter.
TEST_F(RawNumber, EndsAtThe32BitLimitsBeforeItIsCut) {
  EXPECT_EQ(readAll(row("2147483648")), (Integers{-1, 0, -1, 0, 2147483647, 2147483648U, 2147483648LL, 2147483648ULL}));
  EXPECT_EQ(readAll(row("4294967296")),
            (Integers{-1, 255, -1, 65535, 2147483647, 4294967295U, 4294967296LL, 4294967296ULL}));
  EXPECT_EQ(readAll(row("-2147483649")),
            (Integers{0, 255, 0, 65535, -2147483647 - 1, 2147483647U, -2147483649LL, 18446744071562067967ULL}));
}

TEST_F(RawNumber, WrapsWhenItIsNegativeAndReadUnsigned) {
  EXPECT_EQ(readAll(row("-1")), (Integers{-1, 255, -1, 65535, -1, 4294967295U, -1, 18446744073709551615ULL}));
  EXPECT_EQ(readAll(row("-4294967295")),
            (Integers{0, 1, 0, 1, -2147483647 - 1, 1, -4294967295LL, 18446744069414584321ULL}));
  EXPECT_EQ(readAll(row("-4294967296")),
            (Integers{0, 255, 0, 65535, -2147483647 - 1, 4294967295U, -4294967296LL, 18446744069414584320ULL}));
}

TEST_F(RawNumber, EndsAtThe64BitLimits) {
  const std::string huge(30, '9');
  EXPECT_EQ(readAll(row(huge)),
            (Integers{-1, 255, -1, 65535, 2147483647, 4294967295U, 9223372036854775807LL, 18446744073709551615ULL}));
  EXPECT_EQ(readAll(row("-" + huge)), (Integers{0, 255, 0, 65535, -2147483647 - 1, 4294967295U,
                                                -9223372036854775807LL - 1, 18446744073709551615ULL}));
}

TEST_F(RawNumber, IsReadAsFloatAndDouble) {
  EXPECT_EQ((read<orv_db_result_column_float, float>(row("-1.5e3xyz"))), -1500.0F);
  EXPECT_EQ((read<orv_db_result_column_double, double>(row("-1.5e3xyz"))), -1500.0);
  EXPECT_EQ((read<orv_db_result_column_float, float>(row("0.1"))), 0.1F);
  EXPECT_EQ((read<orv_db_result_column_double, double>(row("0.1"))), 0.1);
  EXPECT_EQ((read<orv_db_result_column_double, double>(row("abc"))), 0.0);
}

TEST_F(RawNumber, IsInfiniteBeyondTheRangeOfTheFloatKind) {
  EXPECT_EQ((read<orv_db_result_column_float, float>(row("1e39"))), std::numeric_limits<float>::infinity());
  EXPECT_EQ((read<orv_db_result_column_double, double>(row("1e39"))), 1e39);
  EXPECT_EQ((read<orv_db_result_column_double, double>(row("-1e400"))), -std::numeric_limits<double>::infinity());
}

}  // namespace

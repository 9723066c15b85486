// Parameters: how each type reaches the server.
#include <array>
#include <limits>

#include "query/statement.h"
#include "unit/query/page_end.h"
#include "unit/query/query_fixture.h"

namespace {

using Stored = std::optional<std::string>;
using Value = decltype(_orv_db_param_t::value);

constexpr unsigned char kSigned = 0;
constexpr unsigned char kUnsigned = 1;

class Params : public QueryTest {
 protected:
  // What a column of this type holds after the parameter was stored in it.
  Stored stored(const _orv_db_param_t &param, const std::string &columnType) {
    admin().query("CREATE OR REPLACE TABLE p (a " + columnType + ")");
    MYSQL_STMT *stmt = nullptr;
    EXPECT_EQ(run_statement(handle(), "INSERT INTO p VALUES (?)", &param, 1, &stmt), 0) << orv_db_get_error_str();
    const executed_statement closed(handle(), stmt);
    return admin().query("SELECT a FROM p").at(0).at(0);
  }

  template <class Member>
  Stored storedNumber(_orv_db_type_t type, Member Value::*member, Member number, unsigned char isUnsigned) {
    _orv_db_param_t param{};
    param.type = type;
    param.value.*member = number;
    param.is_unsigned = isUnsigned;
    param.length = 0xDEAD;  // has no meaning for a number
    return stored(param, type < ORV_DB_TYPE_FLOAT ? "DECIMAL(30)" : "DOUBLE");
  }

  Stored storedBytes(_orv_db_type_t type, const void *data, unsigned long length, const std::string &columnType) {
    _orv_db_param_t param{};
    param.type = type;
    param.length = length;
    param.value.data = data;
    return stored(param, columnType);
  }
};

TEST_F(Params, CharIs8BitsWide) {
  EXPECT_EQ(storedNumber<char>(ORV_DB_TYPE_CHAR, &Value::c, static_cast<char>(-56), kSigned), "-56");
  EXPECT_EQ(storedNumber<char>(ORV_DB_TYPE_CHAR, &Value::c, static_cast<char>(-56), kUnsigned), "200");
  EXPECT_EQ(storedNumber<char>(ORV_DB_TYPE_CHAR, &Value::c, 127, kSigned), "127");
}

TEST_F(Params, ShortIntIs16BitsWide) {
  EXPECT_EQ(storedNumber<short>(ORV_DB_TYPE_SHORT_INT, &Value::s, -32768, kSigned), "-32768");
  EXPECT_EQ(storedNumber<short>(ORV_DB_TYPE_SHORT_INT, &Value::s, -1, kUnsigned), "65535");
}

TEST_F(Params, IntIs32BitsWide) {
  EXPECT_EQ(storedNumber<int>(ORV_DB_TYPE_INT, &Value::i, -2147483647 - 1, kSigned), "-2147483648");
  EXPECT_EQ(storedNumber<int>(ORV_DB_TYPE_INT, &Value::i, -1, kUnsigned), "4294967295");
}

TEST_F(Params, Int64Is64BitsWide) {
  EXPECT_EQ(storedNumber<long long>(ORV_DB_TYPE_INT64, &Value::i64, std::numeric_limits<long long>::min(), kSigned),
            "-9223372036854775808");
  EXPECT_EQ(storedNumber<long long>(ORV_DB_TYPE_INT64, &Value::i64, -1, kUnsigned), "18446744073709551615");
}

TEST_F(Params, EveryUnsignedFlagButZeroCounts) {
  for (const unsigned char flag : std::array<unsigned char, 3>{0x02, 0x80, 0xFF})
    EXPECT_EQ(storedNumber<int>(ORV_DB_TYPE_INT, &Value::i, -1, flag), "4294967295") << int{flag};
}

TEST_F(Params, FloatAndDoubleKeepTheirPrecision) {
  EXPECT_EQ(storedNumber<float>(ORV_DB_TYPE_FLOAT, &Value::f, -1.5F, kSigned), "-1.5");
  EXPECT_EQ(storedNumber<double>(ORV_DB_TYPE_DOUBLE, &Value::d, 0.1, kSigned), "0.1");
  EXPECT_EQ(storedNumber<float>(ORV_DB_TYPE_FLOAT, &Value::f, 0.1F, kSigned), "0.10000000149011612");
}

TEST_F(Params, OfTypesBeyondOneToEightAreNull) {
  for (const int type : {0, 9, 10, 100, 0x7fffffff}) {
    _orv_db_param_t param{};
    param.type = static_cast<_orv_db_type_t>(type);
    param.value.i = 5;
    param.is_unsigned = 1;
    EXPECT_EQ(stored(param, "INT"), std::nullopt) << "type " << type;
  }
}

TEST_F(Params, TextIsAsLongAsItsLengthSays) {
  EXPECT_EQ(storedBytes(ORV_DB_TYPE_TEXT, "abcdef", 3, "TEXT"), "abc");
  EXPECT_EQ(storedBytes(ORV_DB_TYPE_BLOB, "abcdef", 3, "BLOB"), "abc");
}

TEST_F(Params, TextNeedsNoNul) {
  const PageEnd text("abc");
  EXPECT_EQ(storedBytes(ORV_DB_TYPE_TEXT, text.data(), text.size(), "TEXT"), "abc");
  EXPECT_EQ(storedBytes(ORV_DB_TYPE_BLOB, text.data(), text.size(), "BLOB"), "abc");
}

TEST_F(Params, NulsAndQuotesInsideAreStored) {
  const std::string bytes("a\0'b\"\\%?", 8);
  EXPECT_EQ(storedBytes(ORV_DB_TYPE_TEXT, bytes.data(), bytes.size(), "VARBINARY(20)"), bytes);
  EXPECT_EQ(storedBytes(ORV_DB_TYPE_BLOB, bytes.data(), bytes.size(), "BLOB"), bytes);
}

TEST_F(Params, BlobMayHaveBytesThatAreNoCharacters) {
  const std::string bytes("\xff\xfe\x80", 3);
  EXPECT_EQ(storedBytes(ORV_DB_TYPE_BLOB, bytes.data(), bytes.size(), "BLOB"), bytes);
}

TEST_F(Params, LargeBlobIsStoredWhole) {
  std::string bytes(300000, '\0');
  for (std::size_t i = 0; i < bytes.size(); ++i)
    bytes[i] = static_cast<char>(i % 251);
  EXPECT_EQ(storedBytes(ORV_DB_TYPE_BLOB, bytes.data(), bytes.size(), "LONGBLOB"), bytes);
}

TEST_F(Params, EmptyTextAndBlobAreNotNull) {
  EXPECT_EQ(storedBytes(ORV_DB_TYPE_TEXT, "abc", 0, "TEXT NOT NULL"), "");
  EXPECT_EQ(storedBytes(ORV_DB_TYPE_BLOB, "abc", 0, "BLOB NOT NULL"), "");
}

TEST_F(Params, TextAndBlobWithoutBytesAreEmptyAndNotNull) {
  EXPECT_EQ(storedBytes(ORV_DB_TYPE_TEXT, nullptr, 0, "TEXT NOT NULL"), "");
  EXPECT_EQ(storedBytes(ORV_DB_TYPE_BLOB, nullptr, 0, "BLOB NOT NULL"), "");
  EXPECT_EQ(storedBytes(ORV_DB_TYPE_TEXT, nullptr, 0, "TEXT"), "");
}

TEST_F(Params, TextAndBlobWithoutBytesAreEmptyWhateverTheirLength) {
  EXPECT_EQ(storedBytes(ORV_DB_TYPE_TEXT, nullptr, 99, "TEXT NOT NULL"), "");
  EXPECT_EQ(storedBytes(ORV_DB_TYPE_BLOB, nullptr, 0xFFFFFFFF, "BLOB NOT NULL"), "");
}

TEST_F(Params, OfAllTypesAreStoredByOneStatement) {
  admin().query("CREATE TABLE p (a TINYINT, b SMALLINT, c INT, d BIGINT, e FLOAT, f DOUBLE, g TEXT, h BLOB, i INT)");
  std::vector<_orv_db_param_t> params(9);
  for (std::size_t i = 0; i < params.size(); ++i)
    params[i].type = static_cast<_orv_db_type_t>(i + 1);
  params[0].value.c = 1;
  params[1].value.s = 2;
  params[2].value.i = 3;
  params[3].value.i64 = 4;
  params[4].value.f = 5.5F;
  params[5].value.d = 6.5;
  params[6].value.data = "seven";
  params[6].length = 5;
  params[7].value.data = "eight!";
  params[7].length = 5;
  MYSQL_STMT *stmt = nullptr;
  ASSERT_EQ(run_statement(handle(), "INSERT INTO p VALUES (?,?,?,?,?,?,?,?,?)", params.data(), 9, &stmt), 0);
  const executed_statement closed(handle(), stmt);
  EXPECT_EQ(admin().query("SELECT * FROM p"),
            (std::vector<Row>{{"1", "2", "3", "4", "5.5", "6.5", "seven", "eight", std::nullopt}}));
}

TEST_F(Params, SelectTheRowsThatMatchAllOfThem) {
  admin().query("CREATE TABLE t (a INT, b TEXT)");
  admin().query("INSERT INTO t VALUES (1, 'x'), (2, 'x'), (2, 'it''s'), (2, '')");
  const std::string quoted = "it's";
  const QueryAnswer answer = query({"t", {"a", "b"}, "a=? AND b=?", {intParam(2), textParam(quoted)}});
  ASSERT_EQ(answer.status, 0U);
  ASSERT_EQ(orv_db_result_row_count(answer.rows.get()), 1);
  ASSERT_EQ(orv_db_result_step(answer.rows.get()), 9U);
  EXPECT_EQ(textOf(answer.rows.get(), 1), quoted);
  EXPECT_EQ(orv_db_result_row_count(query({"t", {}, "b=?", {textParam("")}}).rows.get()), 1);
}

}  // namespace

// Every kind of value goes into a real column and comes back as it was.
#include <cfloat>
#include <climits>
#include <cmath>
#include <cstring>
#include <limits>

#include "content_test.h"

using ::testing::ElementsAre;

namespace {

class RoundTrip : public TableTest {
 public:
  // The table t with the column c.
  void createTable(const std::string &columnType) {
    sql("CREATE TABLE t (_id INT PRIMARY KEY AUTO_INCREMENT, c " + columnType + ")");
  }

  // One row per value, in a new table.
  template <class Put, class... Value>
  void store(const std::string &columnType, Put put, Value... values) {
    createTable(columnType);
    (storeRow(put, values), ...);
  }

  template <class Put, class... Value>
  void storeRow(Put put, Value... value) {
    const Content content;
    ASSERT_EQ(put(content, "c", value...), ORV_DB_OK);
    ASSERT_EQ(orv_db_insert(handle(), "t", content, nullptr, nullptr), ORV_DB_OK) << errorText();
  }

  // The column as another program sees it.
  std::vector<std::string> stored(const std::string &expression = "c") {
    std::vector<std::string> values;
    for (const Row &row : rows("SELECT " + expression + " FROM t ORDER BY _id")) {
      values.push_back(row.at(0).value_or("NULL"));
    }
    return values;
  }

  // The column as the library reads it.
  template <class Get, class Value>
  std::vector<Value> readBack(Get get, Value) {
    std::vector<Value> values;
    const char *columns[] = {"c"};
    ResultSetInfo *result = nullptr;
    EXPECT_EQ(orv_db_query(handle(), "t", columns, 1, nullptr, nullptr, 0, "_id", &result), 0U) << errorText();
    while (orv_db_result_step(result) == ORV_DB_ROW) {
      Value value{};
      EXPECT_EQ(get(result, 0, &value), 0U);
      values.push_back(value);
    }
    orv_db_free_result(result);
    return values;
  }

  void storeBlob(const std::string &bytes) {
    storeRow(orv_db_content_put_blob, bytes.data(), static_cast<unsigned int>(bytes.size()));
  }
};

}  // namespace

TEST_F(RoundTrip, OfCharKeepsTheLimitsOf8SignedBits) {
  store("TINYINT", orv_db_content_put_char, static_cast<char>(-128), static_cast<char>(127), static_cast<char>(0));
  EXPECT_THAT(stored(), ElementsAre("-128", "127", "0"));
  EXPECT_THAT(readBack(orv_db_result_column_char, char{}), ElementsAre(-128, 127, 0));
}

TEST_F(RoundTrip, OfUcharKeepsTheLimitsOf8UnsignedBits) {
  store("TINYINT UNSIGNED", orv_db_content_put_uchar, static_cast<unsigned char>(0), static_cast<unsigned char>(200),
        static_cast<unsigned char>(255));
  EXPECT_THAT(stored(), ElementsAre("0", "200", "255"));
  EXPECT_THAT(readBack(orv_db_result_column_uchar, static_cast<unsigned char>(0)), ElementsAre(0, 200, 255));
}

TEST_F(RoundTrip, OfShortIntKeepsTheLimitsOf16SignedBits) {
  store("SMALLINT", orv_db_content_put_short_int, static_cast<short>(SHRT_MIN), static_cast<short>(SHRT_MAX));
  EXPECT_THAT(stored(), ElementsAre("-32768", "32767"));
  EXPECT_THAT(readBack(orv_db_result_column_short_int, short{}), ElementsAre(SHRT_MIN, SHRT_MAX));
}

TEST_F(RoundTrip, OfShortUintKeepsTheLimitsOf16UnsignedBits) {
  store("SMALLINT UNSIGNED", orv_db_content_put_short_uint, static_cast<unsigned short>(0),
        static_cast<unsigned short>(USHRT_MAX));
  EXPECT_THAT(stored(), ElementsAre("0", "65535"));
  EXPECT_THAT(readBack(orv_db_result_column_short_uint, static_cast<unsigned short>(0)), ElementsAre(0, USHRT_MAX));
}

TEST_F(RoundTrip, OfIntKeepsTheLimitsOf32SignedBits) {
  store("INT", orv_db_content_put_int, INT_MIN, INT_MAX);
  EXPECT_THAT(stored(), ElementsAre("-2147483648", "2147483647"));
  EXPECT_THAT(readBack(orv_db_result_column_int, 0), ElementsAre(INT_MIN, INT_MAX));
}

TEST_F(RoundTrip, OfUintKeepsTheLimitsOf32UnsignedBits) {
  store("INT UNSIGNED", orv_db_content_put_uint, 0U, UINT_MAX);
  EXPECT_THAT(stored(), ElementsAre("0", "4294967295"));
  EXPECT_THAT(readBack(orv_db_result_column_uint, 0U), ElementsAre(0U, UINT_MAX));
}

TEST_F(RoundTrip, OfInt64KeepsTheLimitsOf64SignedBits) {
  store("BIGINT", orv_db_content_put_int64, LLONG_MIN, LLONG_MAX);
  EXPECT_THAT(stored(), ElementsAre("-9223372036854775808", "9223372036854775807"));
  EXPECT_THAT(readBack(orv_db_result_column_int64, 0LL), ElementsAre(LLONG_MIN, LLONG_MAX));
}

TEST_F(RoundTrip, OfUint64KeepsTheLimitsOf64UnsignedBits) {
  store("BIGINT UNSIGNED", orv_db_content_put_uint64, 0ULL, ULLONG_MAX);
  EXPECT_THAT(stored(), ElementsAre("0", "18446744073709551615"));
  EXPECT_THAT(readBack(orv_db_result_column_uint64, 0ULL), ElementsAre(0ULL, ULLONG_MAX));
}

TEST_F(RoundTrip, OfUnsignedValuesIntoAWiderColumnStaysPositive) {
  store("BIGINT", orv_db_content_put_uchar, static_cast<unsigned char>(255));
  storeRow(orv_db_content_put_short_uint, static_cast<unsigned short>(USHRT_MAX));
  storeRow(orv_db_content_put_uint, UINT_MAX);
  EXPECT_THAT(stored(), ElementsAre("255", "65535", "4294967295"));
}

TEST_F(RoundTrip, OfFloatKeepsEveryBit) {
  store("FLOAT", orv_db_content_put_float, 0.1F, -FLT_MAX, FLT_MIN, 16777215.0F);
  EXPECT_THAT(readBack(orv_db_result_column_float, 0.0F), ElementsAre(0.1F, -FLT_MAX, FLT_MIN, 16777215.0F));
}

TEST_F(RoundTrip, OfDoubleKeepsEveryBit) {
  store("DOUBLE", orv_db_content_put_double, 0.1, -DBL_MAX, DBL_MIN, 3.14159265358979312);
  EXPECT_THAT(readBack(orv_db_result_column_double, 0.0), ElementsAre(0.1, -DBL_MAX, DBL_MIN, 3.14159265358979312));
}

TEST_F(RoundTrip, OfNullIsNullInAColumnOfEveryType) {
  sql("CREATE TABLE t (_id INT PRIMARY KEY AUTO_INCREMENT, a TINYINT DEFAULT 1, b BIGINT DEFAULT 1, c FLOAT DEFAULT 1,"
      " d DOUBLE DEFAULT 1, e VARCHAR(9) DEFAULT 'x', f BLOB DEFAULT 'x', g DATETIME DEFAULT NOW())");
  Content content;
  for (const char *column : {"a", "b", "c", "d", "e", "f", "g"}) {
    ASSERT_EQ(orv_db_content_put_null(content, column), ORV_DB_OK);
  }
  ASSERT_EQ(orv_db_insert(handle(), "t", content, nullptr, nullptr), ORV_DB_OK) << errorText();
  EXPECT_EQ(rows("SELECT a, b, c, d, e, f, g FROM t"), (std::vector<Row>{Row(7, std::nullopt)}));
}

TEST_F(RoundTrip, OfTextKeepsUtf8OfOneToFourBytes) {
  const std::string text = "a\xC3\xBC\xE2\x82\xAC\xF0\x9F\x98\x80 'it\\s' \"?\" \n%_";
  store("VARCHAR(100)", orv_db_content_put_text, text.c_str());
  EXPECT_THAT(stored(), ElementsAre(text));
  EXPECT_THAT(stored("CHAR_LENGTH(c)"), ElementsAre("19"));
  char back[200] = "";
  EXPECT_EQ(readBack([&](auto *result, unsigned int index,
                         char *) { return orv_db_result_column_text(result, index, back, sizeof back); },
                     char{})
                .size(),
            1U);
  EXPECT_EQ(back, text);
}

TEST_F(RoundTrip, OfTheTextQuestionMarkIsTheText) {
  store("VARCHAR(100)", orv_db_content_put_text, "?");
  EXPECT_THAT(stored(), ElementsAre("?"));
}

TEST_F(RoundTrip, OfALongTextIsWhole) {
  const std::string text(300000, 'x');
  store("MEDIUMTEXT", orv_db_content_put_text, text.c_str());
  EXPECT_THAT(stored(), ElementsAre(text));
}

TEST_F(RoundTrip, OfAnEmptyTextIsEmptyAndNotNull) {
  store("VARCHAR(100) NOT NULL", orv_db_content_put_text, "");
  EXPECT_EQ(rows("SELECT c, c IS NULL FROM t"), (std::vector<Row>{{"", "0"}}));
}

TEST_F(RoundTrip, OfAnEmptyTextIntoANullableColumnIsEmptyAndNotNull) {
  store("VARCHAR(100) DEFAULT 'x'", orv_db_content_put_text, "");
  EXPECT_EQ(rows("SELECT c, c IS NULL FROM t"), (std::vector<Row>{{"", "0"}}));
}

TEST_F(RoundTrip, OfABlobKeepsEveryByte) {
  std::string bytes;
  for (int byte = 0; byte < 256; ++byte)
    bytes += static_cast<char>(byte);
  createTable("BLOB");
  storeBlob(bytes);
  EXPECT_EQ(rows("SELECT c FROM t"), (std::vector<Row>{{bytes}}));
  unsigned char back[300] = {};
  readBack([&](auto *result, unsigned int index,
               char *) { return orv_db_result_column_blob(result, index, back, sizeof back); },
           char{});
  EXPECT_EQ(std::memcmp(back, bytes.data(), bytes.size()), 0);
}

TEST_F(RoundTrip, OfAnEmptyBlobIsEmptyAndNotNull) {
  createTable("BLOB NOT NULL");
  storeBlob("");
  EXPECT_EQ(rows("SELECT c, c IS NULL FROM t"), (std::vector<Row>{{"", "0"}}));
}

TEST_F(RoundTrip, OfAllKindsInOneStatement) {
  sql("CREATE TABLE t (a TINYINT, b TINYINT UNSIGNED, c SMALLINT, d SMALLINT UNSIGNED, e INT, f INT UNSIGNED, g BIGINT,"
      " h BIGINT UNSIGNED, i FLOAT, j DOUBLE, k VARCHAR(9), l BLOB, m INT)");
  const Content content;
  orv_db_content_put_char(content, "a", static_cast<char>(-1));
  orv_db_content_put_uchar(content, "b", 255);
  orv_db_content_put_short_int(content, "c", -2);
  orv_db_content_put_short_uint(content, "d", 65534);
  orv_db_content_put_int(content, "e", -3);
  orv_db_content_put_uint(content, "f", 4294967293U);
  orv_db_content_put_int64(content, "g", -4);
  orv_db_content_put_uint64(content, "h", 18446744073709551612ULL);
  orv_db_content_put_float(content, "i", 0.5F);
  orv_db_content_put_double(content, "j", -0.25);
  orv_db_content_put_text(content, "k", "text");
  orv_db_content_put_blob(content, "l", "b\0b", 3);
  orv_db_content_put_null(content, "m");
  ASSERT_EQ(orv_db_insert(handle(), "t", content, nullptr, nullptr), ORV_DB_OK) << errorText();
  EXPECT_EQ(rows("SELECT * FROM t"),
            (std::vector<Row>{{"-1", "255", "-2", "65534", "-3", "4294967293", "-4", "18446744073709551612", "0.5",
                               "-0.25", "text", std::string("b\0b", 3), std::nullopt}}));
}

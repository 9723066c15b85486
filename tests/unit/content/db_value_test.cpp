// The value of a column: how it is written as a literal of SQL, and as which parameter it travels.
#include "content/db_value.h"

#include <cfloat>
#include <climits>
#include <cstring>
#include <sstream>

#include "content/content_values.h"
#include "content/table_write.h"
#include "content_test.h"

namespace {

const db_value &valueOf(const Content &content) {
  return static_cast<_orv_db_content_values_t *>(content)->values.at("c");
}

std::string rendered(const db_value &value) {
  std::ostringstream out;
  out << value;
  return out.str();
}

// What a put function makes of its argument.
template <class Put, class Value>
Content filled(Put put, Value value) {
  Content content;
  EXPECT_EQ(put(content, "c", value), ORV_DB_OK);
  return content;
}

template <class Put, class Value>
std::string literal(Put put, Value value) {
  return rendered(valueOf(filled(put, value)));
}

Content blob(const std::string &bytes) {
  Content content;
  EXPECT_EQ(orv_db_content_put_blob(content, "c", bytes.data(), static_cast<unsigned int>(bytes.size())), ORV_DB_OK);
  return content;
}

std::string literalText(const char *text) { return literal(orv_db_content_put_text, text); }

}  // namespace

// --- literals ---

TEST(Literal, OfNullIsTheWordNull) {
  Content content;
  ASSERT_EQ(orv_db_content_put_null(content, "c"), ORV_DB_OK);
  EXPECT_EQ(rendered(valueOf(content)), "NULL");
  EXPECT_EQ(rendered(db_value()), "NULL");
}

TEST(Literal, OfAnEightBitIntegerIsTheByteItself) {
  EXPECT_EQ(literal(orv_db_content_put_char, 'A'), "A");
  EXPECT_EQ(literal(orv_db_content_put_char, static_cast<char>(-1)), "\xFF");
  EXPECT_EQ(literal(orv_db_content_put_char, '\0'), std::string(1, '\0'));
  EXPECT_EQ(literal(orv_db_content_put_char, '\''), "'");
}

TEST(Literal, OfAnUnsignedEightBitIntegerIsTheByteItself) {
  EXPECT_EQ(literal(orv_db_content_put_uchar, static_cast<unsigned char>(200)), "\xC8");
  EXPECT_EQ(literal(orv_db_content_put_uchar, static_cast<unsigned char>(65)), "A");
}

TEST(Literal, OfA16BitIntegerIsSignedDecimal) {
  EXPECT_EQ(literal(orv_db_content_put_short_int, static_cast<short>(SHRT_MIN)), "-32768");
  EXPECT_EQ(literal(orv_db_content_put_short_int, static_cast<short>(SHRT_MAX)), "32767");
  EXPECT_EQ(literal(orv_db_content_put_short_uint, static_cast<unsigned short>(32768)), "-32768");
  EXPECT_EQ(literal(orv_db_content_put_short_uint, static_cast<unsigned short>(USHRT_MAX)), "-1");
}

TEST(Literal, OfA32BitIntegerIsSignedDecimal) {
  EXPECT_EQ(literal(orv_db_content_put_int, INT_MIN), "-2147483648");
  EXPECT_EQ(literal(orv_db_content_put_int, INT_MAX), "2147483647");
  EXPECT_EQ(literal(orv_db_content_put_uint, 2147483648U), "-2147483648");
  EXPECT_EQ(literal(orv_db_content_put_uint, UINT_MAX), "-1");
}

TEST(Literal, OfA64BitIntegerIsSignedDecimal) {
  EXPECT_EQ(literal(orv_db_content_put_int64, LLONG_MIN), "-9223372036854775808");
  EXPECT_EQ(literal(orv_db_content_put_int64, LLONG_MAX), "9223372036854775807");
  EXPECT_EQ(literal(orv_db_content_put_uint64, 9223372036854775808ULL), "-9223372036854775808");
  EXPECT_EQ(literal(orv_db_content_put_uint64, ULLONG_MAX), "-1");
}

TEST(Literal, OfAFloatHasSixSignificantDigitsInGeneralNotation) {
  EXPECT_EQ(literal(orv_db_content_put_float, 0.1F), "0.1");
  EXPECT_EQ(literal(orv_db_content_put_float, 3.14159265F), "3.14159");
  EXPECT_EQ(literal(orv_db_content_put_float, 10000000.0F), "1e+07");
  EXPECT_EQ(literal(orv_db_content_put_float, 2.0F), "2");
  EXPECT_EQ(literal(orv_db_content_put_float, -FLT_MAX), "-3.40282e+38");
}

TEST(Literal, OfADoubleHasSixSignificantDigitsInGeneralNotation) {
  EXPECT_EQ(literal(orv_db_content_put_double, 1e-7), "1e-07");
  EXPECT_EQ(literal(orv_db_content_put_double, 3.14159265), "3.14159");
  EXPECT_EQ(literal(orv_db_content_put_double, 1234567.0), "1.23457e+06");
  EXPECT_EQ(literal(orv_db_content_put_double, 123456.0), "123456");
  EXPECT_EQ(literal(orv_db_content_put_double, -DBL_MAX), "-1.79769e+308");
}

TEST(Literal, OfATextIsQuoted) { EXPECT_EQ(literalText("text"), "'text'"); }

TEST(Literal, OfAnEmptyTextIsTwoQuotes) { EXPECT_EQ(literalText(""), "''"); }

TEST(Literal, OfTheTextQuestionMarkIsABareQuestionMark) { EXPECT_EQ(literalText("?"), "?"); }

TEST(Literal, OfALongerTextWithAQuestionMarkIsQuoted) {
  EXPECT_EQ(literalText("??"), "'?\?'");
  EXPECT_EQ(literalText("? "), "'? '");
}

TEST(Literal, OfATextEscapesSingleQuotesWithABackslash) {
  EXPECT_EQ(literalText("it's"), R"('it\'s')");
  EXPECT_EQ(literalText("''"), R"('\'\'')");
}

TEST(Literal, OfATextEscapesNothingButSingleQuotes) {
  EXPECT_EQ(literalText("a\\b\"c\n\t\x01\xC3\xBC`"), "'a\\b\"c\n\t\x01\xC3\xBC`'");
  const std::string withNul("a\0b", 3);
  EXPECT_EQ(rendered(db_value(ORV_DB_TYPE_TEXT, withNul.data(), withNul.size())), std::string("'a\0b'", 5));
}

TEST(Literal, OfABlobIsItsRawBytes) {
  const std::string bytes("it's\0\\?\xFF", 8);
  EXPECT_EQ(rendered(valueOf(blob(bytes))), bytes);
  EXPECT_EQ(rendered(valueOf(blob("?"))), "?");
}

TEST(Literal, OfAnEmptyBlobIsNothing) { EXPECT_EQ(rendered(valueOf(blob(""))), ""); }

TEST(Literal, OfAnyOtherTypeIsNothing) { EXPECT_EQ(rendered(db_value(ORV_DB_TYPE_UNKNOWN, "x", 1)), ""); }

// --- parameters ---

TEST(Parameter, OfNullHasTypeZero) {
  Content content;
  ASSERT_EQ(orv_db_content_put_null(content, "c"), ORV_DB_OK);
  const _orv_db_param_t param = valueOf(content).toParam();
  EXPECT_EQ(static_cast<int>(param.type), 0);
  EXPECT_EQ(param.is_unsigned, 0);
}

TEST(Parameter, OfAnyOtherTypeHasTypeZero) {
  EXPECT_EQ(static_cast<int>(db_value(ORV_DB_TYPE_UNKNOWN, "x", 1).toParam().type), 0);
}

TEST(Parameter, OfAnIntegerCarriesItsTypeItsValueAndItsSign) {
  const auto check = [](const Content &content, int type, bool isUnsigned, long long value, std::size_t width) {
    const _orv_db_param_t param = valueOf(content).toParam();
    EXPECT_EQ(static_cast<int>(param.type), type);
    EXPECT_EQ(param.is_unsigned, isUnsigned ? 1 : 0) << "type " << type;
    EXPECT_EQ(std::memcmp(&param.value, &value, width), 0) << "type " << type;
  };
  check(filled(orv_db_content_put_char, static_cast<char>(-2)), 1, false, -2, 1);
  check(filled(orv_db_content_put_uchar, static_cast<unsigned char>(200)), 1, true, 200, 1);
  check(filled(orv_db_content_put_short_int, static_cast<short>(-3000)), 2, false, -3000, 2);
  check(filled(orv_db_content_put_short_uint, static_cast<unsigned short>(60000)), 2, true, 60000, 2);
  check(filled(orv_db_content_put_int, -300000), 3, false, -300000, 4);
  check(filled(orv_db_content_put_uint, 4294967295U), 3, true, 4294967295LL, 4);
  check(filled(orv_db_content_put_int64, -5000000000LL), 4, false, -5000000000LL, 8);
  check(filled(orv_db_content_put_uint64, ULLONG_MAX), 4, true, -1, 8);
}

TEST(Parameter, OfAFloatCarriesItsBits) {
  const _orv_db_param_t param = valueOf(filled(orv_db_content_put_float, 0.1F)).toParam();
  EXPECT_EQ(param.type, ORV_DB_TYPE_FLOAT);
  EXPECT_EQ(param.is_unsigned, 0);
  EXPECT_EQ(param.value.f, 0.1F);
}

TEST(Parameter, OfADoubleCarriesItsBits) {
  const _orv_db_param_t param = valueOf(filled(orv_db_content_put_double, 0.1)).toParam();
  EXPECT_EQ(param.type, ORV_DB_TYPE_DOUBLE);
  EXPECT_EQ(param.is_unsigned, 0);
  EXPECT_EQ(param.value.d, 0.1);
}

TEST(Parameter, OfATextPointsIntoTheContainer) {
  const Content content = filled(orv_db_content_put_text, "three");
  const _orv_db_param_t param = valueOf(content).toParam();
  EXPECT_EQ(param.type, ORV_DB_TYPE_TEXT);
  EXPECT_EQ(param.length, 5U);
  EXPECT_EQ(param.is_unsigned, 0);
  ASSERT_EQ(std::memcmp(param.value.data, "three", 5), 0);
  EXPECT_EQ(valueOf(content).toParam().value.data, param.value.data);
}

TEST(Parameter, OfABlobPointsIntoTheContainer) {
  const Content content = blob(std::string("a\0b", 3));
  const _orv_db_param_t param = valueOf(content).toParam();
  EXPECT_EQ(param.type, ORV_DB_TYPE_BLOB);
  EXPECT_EQ(param.length, 3U);
  ASSERT_EQ(std::memcmp(param.value.data, "a\0b", 3), 0);
  EXPECT_EQ(valueOf(content).toParam().value.data, param.value.data);
}

TEST(Parameter, OfAnEmptyTextHasNoDataAndLengthZero) {
  const _orv_db_param_t param = valueOf(filled(orv_db_content_put_text, "")).toParam();
  EXPECT_EQ(param.type, ORV_DB_TYPE_TEXT);
  EXPECT_EQ(param.value.data, nullptr);
  EXPECT_EQ(param.length, 0U);
}

TEST(Parameter, OfAnEmptyBlobHasNoDataAndLengthZero) {
  const _orv_db_param_t param = valueOf(blob("")).toParam();
  EXPECT_EQ(param.type, ORV_DB_TYPE_BLOB);
  EXPECT_EQ(param.value.data, nullptr);
  EXPECT_EQ(param.length, 0U);
}

TEST(Parameter, OfAnUnsignedIntegerIsUnsignedThoughItsLiteralIsNegative) {
  const Content content = filled(orv_db_content_put_uint, 4294967295U);
  EXPECT_EQ(rendered(valueOf(content)), "-1");
  const _orv_db_param_t param = valueOf(content).toParam();
  EXPECT_EQ(param.type, ORV_DB_TYPE_INT);
  EXPECT_EQ(param.is_unsigned, 1);
  EXPECT_EQ(static_cast<unsigned int>(param.value.i), 4294967295U);
}

TEST(Parameters, StandInTheOrderOfTheContainer) {
  const Content content = Content().with("b", 2).with("A", 1).with("a", "x");
  const param_list params = paramsOf(*content);
  ASSERT_EQ(params.size(), 3U);
  EXPECT_EQ(params[0].value.i, 1);
  EXPECT_EQ(params[1].type, ORV_DB_TYPE_TEXT);
  EXPECT_EQ(params[2].value.i, 2);
}

// --- copies ---

TEST(CopyOfAValue, HasTheSameTypeSignAndScalar) {
  const Content content = filled(orv_db_content_put_uint64, ULLONG_MAX);
  db_value copy;
  copy = valueOf(content);
  const _orv_db_param_t param = copy.toParam();
  EXPECT_EQ(param.type, ORV_DB_TYPE_INT64);
  EXPECT_EQ(param.is_unsigned, 1);
  EXPECT_EQ(param.value.i64, -1);
}

TEST(CopyOfAValue, HasBytesOfItsOwn) {
  db_value copy;
  {
    const Content content = filled(orv_db_content_put_text, "bytes");
    copy = valueOf(content);
    EXPECT_NE(copy.toParam().value.data, valueOf(content).toParam().value.data);
  }
  EXPECT_EQ(rendered(copy), "'bytes'");
}

// Text to integer, as the target's 32-bit long does it.
#include "query/text_number.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>

namespace {

constexpr std::int32_t kLongMax = 2147483647;
constexpr std::int32_t kLongMin = -kLongMax - 1;
constexpr std::uint32_t kUnsignedLongMax = 4294967295U;

struct Case {
  const char *text;
  std::int32_t asLong;
  std::uint32_t asUnsignedLong;
};

template <std::size_t Count>
void check(const Case (&cases)[Count]) {
  for (const Case &tested : cases) {
    SCOPED_TRACE(testing::Message() << '"' << tested.text << '"');
    EXPECT_EQ(textToLong(tested.text), tested.asLong);
    EXPECT_EQ(textToUnsignedLong(tested.text), tested.asUnsignedLong);
    // Where long has 32 bits, the C library says the same.
    if constexpr (sizeof(long) == sizeof(std::int32_t)) {
      EXPECT_EQ(std::strtol(tested.text, nullptr, 10), tested.asLong);
      EXPECT_EQ(std::strtoul(tested.text, nullptr, 10), tested.asUnsignedLong);
    }
  }
}

TEST(TextNumber, TakesDigitsAndIgnoresWhatFollows) {
  check({{"0", 0, 0},
         {"7", 7, 7},
         {"12abc", 12, 12},
         {"12 34", 12, 12},
         {"1.9", 1, 1},
         {"1e3", 1, 1},
         {"0x10", 0, 0},
         {"010", 10, 10},
         {"0000000000000000000000000000000012", 12, 12}});
}

TEST(TextNumber, IsZeroWithoutDigits) {
  check(
      {{"", 0, 0}, {" ", 0, 0}, {"abc", 0, 0}, {"-", 0, 0}, {"+", 0, 0}, {".5", 0, 0}, {"-abc", 0, 0}, {"\xff", 0, 0}});
}

TEST(TextNumber, SkipsLeadingBlanksOfEveryKind) {
  check(
      {{"  12", 12, 12}, {" \t\n\v\f\r12", 12, 12}, {" -1", -1, kUnsignedLongMax}, {"\n-2", -2, kUnsignedLongMax - 1}});
}

TEST(TextNumber, TakesOneSignDirectlyBeforeTheDigits) {
  check({{"+12", 12, 12}, {"-12", -12, 4294967284U}, {"+-12", 0, 0}, {"--12", 0, 0}, {"- 12", 0, 0}, {"-0", 0, 0}});
}

TEST(TextNumber, SignedNumberEndsAtThe32BitLimits) {
  check({{"2147483646", kLongMax - 1, 2147483646U},
         {"2147483647", kLongMax, 2147483647U},
         {"2147483648", kLongMax, 2147483648U},
         {"-2147483647", kLongMin + 1, 2147483649U},
         {"-2147483648", kLongMin, 2147483648U},
         {"-2147483649", kLongMin, 2147483647U}});
}

TEST(TextNumber, UnsignedNumberThatDoesNotFitIsAllOnes) {
  check({{"4294967294", kLongMax, kUnsignedLongMax - 1},
         {"4294967295", kLongMax, kUnsignedLongMax},
         {"4294967296", kLongMax, kUnsignedLongMax},
         {"4294967297", kLongMax, kUnsignedLongMax},
         {"8589934592", kLongMax, kUnsignedLongMax}});
}

TEST(TextNumber, NegativeNumberWrapsWithin32BitsAndBeyondThemIsAllOnes) {
  check({{"-1", -1, kUnsignedLongMax},
         {"-4294967294", kLongMin, 2},
         {"-4294967295", kLongMin, 1},
         {"-4294967296", kLongMin, kUnsignedLongMax},
         {"-4294967297", kLongMin, kUnsignedLongMax}});
}

TEST(TextNumber, NumberBeyond64BitsEndsAtTheSameLimits) {
  check({{"9223372036854775807", kLongMax, kUnsignedLongMax},
         {"9223372036854775808", kLongMax, kUnsignedLongMax},
         {"18446744073709551615", kLongMax, kUnsignedLongMax},
         {"18446744073709551616", kLongMax, kUnsignedLongMax},
         {"-9223372036854775808", kLongMin, kUnsignedLongMax},
         {"-9223372036854775809", kLongMin, kUnsignedLongMax},
         {"-18446744073709551615", kLongMin, kUnsignedLongMax},
         {"-18446744073709551616", kLongMin, kUnsignedLongMax},
         {"99999999999999999999999999999999999999x", kLongMax, kUnsignedLongMax},
         {"-99999999999999999999999999999999999999x", kLongMin, kUnsignedLongMax}});
}

TEST(TextNumber, DoesNotMindAnEarlierRangeError) {
  errno = ERANGE;
  EXPECT_EQ(textToUnsignedLong("5"), 5U);
  errno = ERANGE;
  EXPECT_EQ(textToLong("5"), 5);
}

}  // namespace

#include "query/text_number.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <limits>

namespace {

constexpr int kDecimal = 10;

bool isNegative(const char *text) {
  while (std::isspace(static_cast<unsigned char>(*text)) != 0)
    ++text;
  return *text == '-';
}

}  // namespace

std::int32_t textToLong(const char *text) {
  using limits = std::numeric_limits<std::int32_t>;
  const long long number = std::strtoll(text, nullptr, kDecimal);
  return static_cast<std::int32_t>(std::clamp<long long>(number, limits::min(), limits::max()));
}

std::uint32_t textToUnsignedLong(const char *text) {
  constexpr std::uint32_t kLimit = std::numeric_limits<std::uint32_t>::max();
  // What overflows comes as the largest number, whatever its sign: in the end as the limit, too.
  const unsigned long long number = std::strtoull(text, nullptr, kDecimal);
  const bool negative = isNegative(text);
  const unsigned long long magnitude = negative ? 0 - number : number;
  if (magnitude > kLimit) return kLimit;
  return static_cast<std::uint32_t>(number);
}

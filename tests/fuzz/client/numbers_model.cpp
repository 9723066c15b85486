// Written from the rules of strtol and its kin, with every limit that of the target.
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>

#include "fuzz/client/numbers.h"
#include "fuzz/client/numbers_format.h"

namespace {

struct Digits {
  bool negative = false;
  std::string digits;
};

Digits parse(const std::string &text) {
  std::size_t next = text.find_first_not_of(" \t\n\v\f\r");
  if (next == std::string::npos) return {};
  Digits parsed;
  if (text[next] == '-' || text[next] == '+') parsed.negative = text[next++] == '-';
  const std::size_t end = text.find_first_not_of("0123456789", next);
  parsed.digits = text.substr(next, end == std::string::npos ? end : end - next);
  return parsed;
}

// False when the number is above `limit`.
bool magnitude(const std::string &digits, std::uint64_t limit, std::uint64_t &number) {
  number = 0;
  for (const char digit : digits) {
    const auto value = static_cast<std::uint64_t>(digit - '0');
    if (number > (limit - value) / 10) return false;
    number = number * 10 + value;
  }
  return true;
}

template <class Signed>
Signed toSigned(const Digits &parsed) {
  using limits = std::numeric_limits<Signed>;
  constexpr auto kMost = static_cast<std::uint64_t>(limits::max());
  std::uint64_t number;
  if (!magnitude(parsed.digits, parsed.negative ? kMost + 1 : kMost, number)) {
    return parsed.negative ? limits::min() : limits::max();
  }
  return static_cast<Signed>(parsed.negative ? 0 - number : number);
}

template <class Unsigned>
Unsigned toUnsigned(const Digits &parsed) {
  std::uint64_t number;
  if (!magnitude(parsed.digits, std::numeric_limits<Unsigned>::max(), number)) {
    return std::numeric_limits<Unsigned>::max();
  }
  return static_cast<Unsigned>(parsed.negative ? 0 - number : number);
}

template <class Bits, class Number>
Bits bitsOf(Number number) {
  Bits bits;
  static_assert(sizeof bits == sizeof number);
  std::memcpy(&bits, &number, sizeof bits);
  return bits;
}

}  // namespace

// Floats do not depend on the width of long.
NumberTexts modelledNumbers(const std::string &text) {
  const Digits parsed = parse(text);
  const auto number = static_cast<std::uint32_t>(toSigned<std::int32_t>(parsed));
  const auto positive = toUnsigned<std::uint32_t>(parsed);
  std::array<char, 256> line{};
  std::snprintf(line.data(), line.size(), ORVDB_NUMBERS_FORMAT, number & 0xffU, positive & 0xffU, number & 0xffffU,
                positive & 0xffffU, number, positive, static_cast<unsigned long long>(toSigned<long long>(parsed)),
                toUnsigned<unsigned long long>(parsed), bitsOf<unsigned int>(std::strtof(text.c_str(), nullptr)),
                bitsOf<unsigned long long>(std::strtod(text.c_str(), nullptr)));
  return line.data();
}

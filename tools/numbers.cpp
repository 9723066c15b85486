#include "numbers.h"

#include <charconv>

#include "exit_status.h"

unsigned long long parseNumber(const std::string &text) {
  unsigned long long number = 0;
  const char *const end = text.data() + text.size();
  const auto [parsed, error] = std::from_chars(text.data(), end, number);
  if (error == std::errc() && parsed == end) return number;
  throw WrongUsage("'" + text + "' is no number from 0 to 18446744073709551615");
}

std::chrono::duration<double> parseTimeout(double seconds) {
  if (seconds >= 0 && seconds <= 1e9) return std::chrono::duration<double>(seconds);
  throw WrongUsage("a time-out is 0 to 1000000000 seconds long");
}

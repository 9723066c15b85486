// How a target says that a promise is broken.
#pragma once

#include <stdexcept>
#include <string>

// The bytes as they can be shown.
inline std::string shown(const std::string &bytes) {
  constexpr char kDigits[] = "0123456789abcdef";
  std::string text = "\"";
  for (const char byte : bytes) {
    const auto code = static_cast<unsigned char>(byte);
    const bool plain = code >= ' ' && code < 0x7f && byte != '\\';
    if (plain) {
      text += byte;
    } else {
      text.append("\\x").append(1, kDigits[code / 16]).append(1, kDigits[code % 16]);
    }
  }
  return text + '"';
}

inline void mustHold(bool holds, const std::string &what) {
  if (!holds) throw std::logic_error(what);
}

inline void mustBeEqual(const std::string &actual, const std::string &expected, const std::string &what) {
  if (actual != expected) throw std::logic_error(what + " is " + shown(actual) + ", not " + shown(expected));
}

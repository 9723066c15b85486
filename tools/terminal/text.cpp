#include "terminal/text.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cuchar>
#include <cwchar>

namespace {

struct Character {
  std::size_t bytes;  // 0: what is there is no character
  char32_t code;
};

Character firstCharacter(std::string_view text) {
  char32_t code = 0;
  std::mbstate_t state{};
  const std::size_t bytes = std::mbrtoc32(&code, text.data(), text.size(), &state);
  if (bytes > text.size()) return {0, 0};
  return {bytes == 0 ? 1 : bytes, code};  // 0 stands for the NUL
}

// How many characters a terminal's cursor moves on; 0 for what cannot be shown, too.
std::size_t columns(char32_t code) {
  const int width = wcwidth(static_cast<wchar_t>(code));
  return width > 0 ? static_cast<std::size_t>(width) : 0;
}

std::string escaped(char32_t code) {
  if (code == U'\n') return "\\n";
  if (code == U'\r') return "\\r";
  if (code == U'\t') return "\\t";
  std::array<char, 16> text{};
  const auto number = static_cast<unsigned int>(code);
  std::snprintf(text.data(), text.size(), number < 0x80 ? "\\x%02x" : "\\u%04x", number);
  return text.data();
}

}  // namespace

bool isUtf8(std::string_view bytes) {
  while (!bytes.empty()) {
    const Character next = firstCharacter(bytes);
    if (next.bytes == 0) return false;
    bytes.remove_prefix(next.bytes);
  }
  return true;
}

std::string hexDigits(std::string_view bytes) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  std::string text;
  text.reserve(2 * bytes.size());
  for (const char byte : bytes) {
    const auto value = static_cast<unsigned char>(byte);
    text += kDigits[value / 16U];
    text += kDigits[value % 16U];
  }
  return text;
}

std::string printable(std::string_view bytes) {
  return isUtf8(bytes) ? printableMessage(bytes) : "0x" + hexDigits(bytes);
}

std::string printableMessage(std::string_view text) {
  std::string shown;
  while (!text.empty()) {
    const Character next = firstCharacter(text);
    if (next.bytes == 0) {
      shown += "\\x" + hexDigits(text.substr(0, 1));
    } else if (wcwidth(static_cast<wchar_t>(next.code)) < 0 || next.code == U'\0') {
      shown += escaped(next.code);
    } else {
      shown += text.substr(0, next.bytes);
    }
    text.remove_prefix(std::max<std::size_t>(next.bytes, 1));
  }
  return shown;
}

std::size_t displayWidth(std::string_view text) {
  std::size_t width = 0;
  while (!text.empty()) {
    const Character next = firstCharacter(text);
    width += columns(next.code);
    text.remove_prefix(next.bytes);
  }
  return width;
}

std::string cutToWidth(const std::string &text, std::size_t width) {
  if (displayWidth(text) <= width) return text;
  std::string_view rest = text;
  for (std::size_t used = 0; !rest.empty();) {
    const Character next = firstCharacter(rest);
    used += columns(next.code);
    if (used > width - 1) break;
    rest.remove_prefix(next.bytes);
  }
  return text.substr(0, text.size() - rest.size()) + "…";
}

std::string counted(unsigned long long number, const std::string &thing) {
  return std::to_string(number) + " " + thing + (number == 1 ? "" : "s");
}

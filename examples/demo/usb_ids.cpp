#include "usb_ids.h"

#include <iconv.h>

#include <charconv>
#include <optional>

namespace {

constexpr std::size_t kCodeDigits = 4;
constexpr std::size_t kNameBegin = kCodeDigits + 2;

// Nothing when `text` is not in the character set. A copy, since iconv() takes a pointer to text that it could change.
// cppcheck-suppress passedByValue
std::optional<std::string> convertToUtf8(std::string text, const char *charset) {
  std::string converted(text.size() * 2, '\0');  // the most that Latin-1 can become
  char *from = text.data();
  char *to = converted.data();
  std::size_t unread = text.size();
  std::size_t room = converted.size();
  iconv_t converter = iconv_open("UTF-8", charset);
  const std::size_t status = iconv(converter, &from, &unread, &to, &room);
  iconv_close(converter);
  if (status == static_cast<std::size_t>(-1)) return std::nullopt;
  converted.resize(converted.size() - room);
  return converted;
}

std::string toUtf8(const std::string &text) {
  if (const auto utf8 = convertToUtf8(text, "UTF-8")) return *utf8;
  return convertToUtf8(text, "ISO-8859-1").value();
}

// A vendor or a device: four hexadecimal digits, two spaces, a name.
std::optional<UsbDevice> parseEntry(const std::string &text) {
  if (text.size() <= kNameBegin || text.compare(kCodeDigits, 2, "  ") != 0) return std::nullopt;
  UsbDevice entry{};
  const char *codeEnd = text.data() + kCodeDigits;
  if (std::from_chars(text.data(), codeEnd, entry.code, 16).ptr != codeEnd) return std::nullopt;
  entry.name = toUtf8(text.substr(kNameBegin));
  return entry;
}

bool isCommentOrBlank(const std::string &line) { return line.empty() || line[0] == '#'; }

}  // namespace

std::vector<UsbVendor> readUsbIds(std::istream &file) {
  std::vector<UsbVendor> vendors;
  bool inVendor = false;  // false in the sections of device classes, languages and the like
  for (std::string line; std::getline(file, line);) {
    if (isCommentOrBlank(line)) continue;
    if (line[0] != '\t') {
      const auto vendor = parseEntry(line);
      inVendor = vendor.has_value();
      if (inVendor) vendors.push_back({vendor->code, vendor->name, {}});
    } else if (inVendor) {
      // Lines with a second tab are interfaces of a device: no entries.
      if (const auto device = parseEntry(line.substr(1))) vendors.back().devices.push_back(*device);
    }
  }
  return vendors;
}

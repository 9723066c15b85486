#include "fuzz/client/values.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>

#include "fuzz/broken.h"

namespace {

constexpr std::size_t kMostPuts = 12;
constexpr std::size_t kLongestBytes = 64;
constexpr std::size_t kLongestName = 24;

// In the order of the put functions: null, the integers, signed before unsigned, float, double, text, blob.
struct Kind {
  enum_field_types bound;
  bool isUnsigned;
  std::size_t width;
};
constexpr std::array<Kind, kValueKinds> kKinds = {{
    {MYSQL_TYPE_NULL, false, 0},
    {MYSQL_TYPE_TINY, false, 1},
    {MYSQL_TYPE_TINY, true, 1},
    {MYSQL_TYPE_SHORT, false, 2},
    {MYSQL_TYPE_SHORT, true, 2},
    {MYSQL_TYPE_LONG, false, 4},
    {MYSQL_TYPE_LONG, true, 4},
    {MYSQL_TYPE_LONGLONG, false, 8},
    {MYSQL_TYPE_LONGLONG, true, 8},
    {MYSQL_TYPE_FLOAT, false, 4},
    {MYSQL_TYPE_DOUBLE, false, 8},
    {MYSQL_TYPE_STRING, false, 0},
    {MYSQL_TYPE_BLOB, false, 0},
}};
constexpr std::size_t kText = 11;
constexpr std::size_t kBlob = 12;

template <class Number>
Number as(std::uint64_t bits) {
  Number number;
  std::memcpy(&number, &bits, sizeof number);
  return number;
}

std::string bytesOf(std::uint64_t bits, std::size_t width) { return {reinterpret_cast<const char *>(&bits), width}; }

template <class Number>
std::string printed(const char *format, Number number) {
  std::array<char, 64> text{};
  std::snprintf(text.data(), text.size(), format, number);
  return text.data();
}

std::string quoted(const std::string &text) {
  if (text == "?") return text;
  std::string literal = "'";
  for (const char byte : text)
    literal += byte == '\'' ? std::string("\\'") : std::string(1, byte);
  return literal + "'";
}

bool isBefore(const std::string &left, const std::string &right) {
  return std::lexicographical_compare(left.begin(), left.end(), right.begin(), right.end(), [](char a, char b) {
    return static_cast<unsigned char>(a) < static_cast<unsigned char>(b);
  });
}

std::string readColumn(Input &input) {
  static const std::array<std::string, 6> kNames = {"a", "A", "ab", "b", "\xc3\xbc", ""};
  const std::size_t chosen = input.choice(kNames.size() + 2);
  if (chosen < kNames.size()) return kNames[chosen];
  std::string name = input.text(kLongestName);
  std::replace(name.begin(), name.end(), '?', '_');  // placeholders are counted
  return name;
}

}  // namespace

Value readValue(Input &input, std::size_t kind, std::size_t longest) {
  Value value{kind, 0, ""};
  if (kind == kText) {
    value.bytes = input.text(longest);
  } else if (kind == kBlob) {
    value.bytes = input.bytes(input.choice(longest + 1));
  } else {
    const std::string bytes = input.bytes(kKinds.at(kind).width);
    std::memcpy(&value.bits, bytes.data(), bytes.size());
  }
  return value;
}

int put(_orv_db_content_values_t *content, const std::string &column, const Value &value) {
  const char *name = column.c_str();
  switch (value.kind) {
    case 0:
      return orv_db_content_put_null(content, name);
    case 1:
      return orv_db_content_put_char(content, name, as<char>(value.bits));
    case 2:
      return orv_db_content_put_uchar(content, name, as<unsigned char>(value.bits));
    case 3:
      return orv_db_content_put_short_int(content, name, as<short>(value.bits));
    case 4:
      return orv_db_content_put_short_uint(content, name, as<unsigned short>(value.bits));
    case 5:
      return orv_db_content_put_int(content, name, as<int>(value.bits));
    case 6:
      return orv_db_content_put_uint(content, name, as<unsigned int>(value.bits));
    case 7:
      return orv_db_content_put_int64(content, name, as<long long>(value.bits));
    case 8:
      return orv_db_content_put_uint64(content, name, value.bits);
    case 9:
      return orv_db_content_put_float(content, name, as<float>(value.bits));
    case 10:
      return orv_db_content_put_double(content, name, as<double>(value.bits));
    case kText:
      return orv_db_content_put_text(content, name, value.bytes.c_str());
    default:
      return orv_db_content_put_blob(content, name, value.bytes.data(), static_cast<unsigned int>(value.bytes.size()));
  }
}

std::string literalOf(const Value &value) {
  switch (kKinds.at(value.kind).bound) {
    case MYSQL_TYPE_NULL:
      return "NULL";
    case MYSQL_TYPE_TINY:
      return bytesOf(value.bits, 1);
    case MYSQL_TYPE_SHORT:
      return printed("%d", int{as<std::int16_t>(value.bits)});
    case MYSQL_TYPE_LONG:
      return printed("%d", as<std::int32_t>(value.bits));
    case MYSQL_TYPE_LONGLONG:
      return printed("%lld", as<long long>(value.bits));
    case MYSQL_TYPE_FLOAT:
      return printed("%g", static_cast<double>(as<float>(value.bits)));
    case MYSQL_TYPE_DOUBLE:
      return printed("%g", as<double>(value.bits));
    case MYSQL_TYPE_STRING:
      return quoted(value.bytes);
    default:
      return value.bytes;
  }
}

ExpectedBind bindOf(const Value &value) {
  const Kind &kind = kKinds.at(value.kind);
  const bool isNumber = value.kind < kText;
  return {kind.bound, kind.isUnsigned, isNumber ? bytesOf(value.bits, kind.width) : value.bytes};
}

ExpectedBind bindOf(const _orv_db_param_t &param) {
  static constexpr std::array<enum_field_types, 9> kTypes = {MYSQL_TYPE_NULL,   MYSQL_TYPE_TINY,     MYSQL_TYPE_SHORT,
                                                             MYSQL_TYPE_LONG,   MYSQL_TYPE_LONGLONG, MYSQL_TYPE_FLOAT,
                                                             MYSQL_TYPE_DOUBLE, MYSQL_TYPE_STRING,   MYSQL_TYPE_BLOB};
  static constexpr std::array<std::size_t, 9> kWidths = {0, 1, 2, 4, 8, 4, 8, 0, 0};
  const auto code = static_cast<unsigned int>(param.type);
  if (code == 0 || code >= kTypes.size()) return {MYSQL_TYPE_NULL, false, ""};
  std::string bytes(reinterpret_cast<const char *>(&param.value), kWidths[code]);
  if (kWidths[code] == 0 && param.value.data != nullptr) {
    bytes.assign(static_cast<const char *>(param.value.data), param.length);
  }
  return {kTypes[code], param.is_unsigned != 0, bytes};
}

Filled::Filled(Input &input) {
  const std::size_t puts = 1 + input.choice(kMostPuts);
  for (std::size_t i = 0; i < puts; ++i)
    step(input);
}

void Filled::step(Input &input) {
  const std::size_t chosen = input.choice(kValueKinds + 4);
  const std::string column = readColumn(input);
  const char *name = column.c_str();
  switch (chosen) {
    case kValueKinds:
      return mustHold(orv_db_content_put_text(m_content.get(), name, nullptr) == 0, "putting no text is no failure");
    case kValueKinds + 1:
      return mustHold(orv_db_content_put_blob(m_content.get(), name, nullptr, 7) == 0, "putting no blob is no failure");
    case kValueKinds + 2:
      return mustHold(orv_db_content_put_int(m_content.get(), nullptr, 1) == 3, "putting without a name gives 3");
    case kValueKinds + 3:
      orv_db_content_clear(m_content.get());
      return m_entries.clear();
    default:
      const Value value = readValue(input, chosen, kLongestBytes);
      mustHold(put(m_content.get(), column, value) == 0, "putting a value gives 0");
      keep(column, value);
  }
}

void Filled::keep(const std::string &column, const Value &value) {
  const auto place = std::find_if(m_entries.begin(), m_entries.end(),
                                  [&](const auto &entry) { return !isBefore(entry.first, column); });
  if (place != m_entries.end() && place->first == column) {
    place->second = value;
  } else {
    m_entries.insert(place, {column, value});
  }
}

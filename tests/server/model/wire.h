// Records as the model sees them, made and taken apart without the server's own code.
#pragma once

#include <cstring>
#include <stdexcept>
#include <string>
#include <string_view>

#include "event/message.h"

// What the model throws when the server does what it must not.
struct BrokenPromise : std::logic_error {
  using std::logic_error::logic_error;
};

inline _ORV_DB_MESSAGE makeRecord(message_type type, const std::string &table, std::uint8_t action,
                                  std::uint64_t rowId) {
  _ORV_DB_MESSAGE record{};
  record.type = type;
  std::memcpy(record.db, "shop", 4);
  table.copy(record.table, kNameFieldSize - 1);
  record.action = action;
  record.rowId = rowId;
  return record;
}

inline std::string bytesOf(const _ORV_DB_MESSAGE &record) {
  return {reinterpret_cast<const char *>(&record), kRecordSize};
}

inline _ORV_DB_MESSAGE recordOf(std::string_view bytes) {
  _ORV_DB_MESSAGE record{};
  std::memcpy(&record, bytes.data(), kRecordSize);
  return record;
}

// Database and table as clients compare them.
inline std::string keyOf(const _ORV_DB_MESSAGE &record) {
  const auto name = [](const char *field) { return std::string(field, strnlen(field, kNameFieldSize - 1)); };
  return name(record.db) + '.' + std::string(1, '\0') + name(record.table);
}

// Records as the server sees them: the key that a record is about, and records of the server's own.
#pragma once

#include <cstring>
#include <string_view>

#include "event/message.h"

// Database and table of a record, as the clients compare them: each up to its first NUL, 63 bytes at most. One text
// with the database's NUL in between, so that it can be hashed and compared as a whole.
class RecordKey {
 public:
  explicit RecordKey(const _ORV_DB_MESSAGE &record) {
    append(record.db);
    m_text[m_size++] = '\0';
    append(record.table);
  }
  std::string_view text() const { return {m_text, m_size}; }

 private:
  void append(const char (&name)[kNameFieldSize]) {
    const std::size_t length = strnlen(name, kNameFieldSize - 1);
    std::memcpy(m_text + m_size, name, length);
    m_size += length;
  }

  char m_text[2 * kNameFieldSize];
  std::size_t m_size = 0;
};

// "The whole table, unspecified": what is told in place of changes that are not delivered one by one, with one record
// for each action. Hands each of them to `take`.
template <class Take>
void makeWholeTableRecords(std::string_view key, std::uint8_t actions, Take take) {
  _ORV_DB_MESSAGE record{};
  const std::size_t dbEnd = key.find('\0');
  record.type = MSG_CHANGE;
  key.substr(0, dbEnd).copy(record.db, kNameFieldSize - 1);
  key.substr(dbEnd + 1).copy(record.table, kNameFieldSize - 1);
  for (unsigned int bit = 1; bit <= 0x80; bit <<= 1) {
    if ((actions & bit) == 0) continue;
    record.action = static_cast<std::uint8_t>(bit);
    take(record);
  }
}

#include "routes.h"

#include <cstring>

namespace {

std::string nameIn(const char (&field)[kNameFieldSize]) { return {field, strnlen(field, kNameFieldSize - 1)}; }

}  // namespace

Routes::Key Routes::keyOf(const _ORV_DB_MESSAGE &record) { return {nameIn(record.db), nameIn(record.table)}; }

void Routes::add(ConnectionId reader, const Key &key, std::uint8_t actions) {
  if (actions != 0) m_readers[key][reader] |= actions;
}

void Routes::remove(ConnectionId reader, const Key &key, std::uint8_t actions) {
  const auto readers = m_readers.find(key);
  if (readers == m_readers.end()) return;
  const auto registered = readers->second.find(reader);
  if (registered == readers->second.end()) return;
  registered->second = static_cast<std::uint8_t>(registered->second & ~actions);
  if (registered->second == 0) readers->second.erase(registered);
  if (readers->second.empty()) m_readers.erase(readers);
}

void Routes::forget(ConnectionId reader) {
  for (auto readers = m_readers.begin(); readers != m_readers.end();) {
    readers->second.erase(reader);
    readers = readers->second.empty() ? m_readers.erase(readers) : std::next(readers);
  }
}

std::vector<ConnectionId> Routes::readersOf(const Key &key, std::uint8_t actions) const {
  std::vector<ConnectionId> found;
  const auto readers = m_readers.find(key);
  if (readers == m_readers.end()) return found;
  for (const auto &[reader, registered] : readers->second) {
    if ((registered & actions) != 0) found.push_back(reader);
  }
  return found;
}

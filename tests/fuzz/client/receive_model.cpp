#include "fuzz/client/receive_model.h"

#include <algorithm>
#include <tuple>
#include <utility>

namespace {

constexpr std::size_t kField = 64;
constexpr std::size_t kDbAt = 4;
constexpr std::size_t kTableAt = kDbAt + kField;
constexpr std::size_t kActionAt = kTableAt + kField;
constexpr std::size_t kTailAt = kActionAt + 1;

enum : std::uint8_t { kRegister = 0, kChange = 2 };

std::string field(const std::string &name) {
  std::string bytes = name.substr(0, kField - 1);
  bytes.resize(kField, '\0');
  return bytes;
}

// Up to a zero byte; the field's last byte counts as one.
std::string nameAt(const std::string &record, std::size_t at) {
  const std::string name = record.substr(at, kField - 1);
  return name.substr(0, name.find('\0'));
}

}  // namespace

std::string recordOf(std::uint8_t type, const std::string &db, const std::string &table, int action,
                     std::uint64_t tail) {
  std::string record{static_cast<char>(type), '\0', '\0', '\0'};
  record += field(db) + field(table) + static_cast<char>(action & 0xff);
  for (int i = 0; i < 8; ++i)
    record += static_cast<char>(tail >> (8 * i) & 0xff);
  return record;
}

void ReceiveModel::read(const std::string &bytes) {
  m_partial += bytes;
  if (m_partial.size() < kRecordBytes) return;
  receive(m_partial.substr(0, kRecordBytes));
  m_partial.erase(0, kRecordBytes);
}

void ReceiveModel::receive(const std::string &record) {
  const auto type = static_cast<std::uint8_t>(record[0]);
  const auto status = static_cast<std::uint8_t>(record[1]);
  if (type == kRegister && status == 1 && m_isAwaited) m_isAccepted = true;
  if (type != kChange || status != 0) return;
  const int action = static_cast<std::uint8_t>(record[kActionAt]);
  const auto entry = first(nameAt(record, kDbAt), nameAt(record, kTableAt), action);
  if (entry == m_entries.end() || entry->callback.function == 0) return;
  std::uint64_t rowId = 0;
  for (std::size_t i = 0; i < 8; ++i)
    rowId |= std::uint64_t{static_cast<std::uint8_t>(record[kTailAt + i])} << (8 * i);
  m_calls.push_back({entry->db, entry->table, action, rowId, entry->callback});
}

bool ReceiveModel::endRegistration() {
  m_isAwaited = false;
  return std::exchange(m_isAccepted, false);
}

void ReceiveModel::registered(const ExpectedEntry &entry) {
  const auto earlier = first(entry.db, entry.table, entry.actions);
  if (earlier != m_entries.end()) {
    if (earlier->callback.user == 0 && earlier->callback.function == entry.callback.function) return;
    take(earlier, entry.actions);
  }
  m_entries.push_back(entry);
}

bool ReceiveModel::cancel(const std::string &db, const std::string &table, int action) {
  const auto entry = first(db, table, action);
  if (entry == m_entries.end()) return false;
  take(entry, action);
  return true;
}

ReceiveModel::Entries::iterator ReceiveModel::first(const std::string &db, const std::string &table, int action) {
  return std::find_if(m_entries.begin(), m_entries.end(), [&](const ExpectedEntry &entry) {
    return entry.db == db && entry.table == table && (entry.actions & action) != 0;
  });
}

void ReceiveModel::take(Entries::iterator entry, int action) {
  entry->actions &= ~action;
  if (entry->actions == 0) m_entries.erase(entry);
}

std::vector<ExpectedEntry> ReceiveModel::entries() const {
  const auto unsignedBytes = [](const std::string &name) {
    return std::vector<unsigned char>(name.begin(), name.end());
  };
  Entries sorted = m_entries;
  std::stable_sort(sorted.begin(), sorted.end(), [&](const ExpectedEntry &left, const ExpectedEntry &right) {
    return std::make_tuple(unsignedBytes(left.db), unsignedBytes(left.table)) <
           std::make_tuple(unsignedBytes(right.db), unsignedBytes(right.table));
  });
  return sorted;
}

std::string ReceiveModel::replay() const {
  std::string records;
  for (const ExpectedEntry &entry : entries())
    records += recordOf(kRegister, entry.db, entry.table, entry.actions, entry.flag);
  return records;
}

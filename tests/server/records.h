// Records that several tests send.
#pragma once

#include <string>
#include <vector>

#include "support/notification_peer.h"

constexpr std::uint8_t kInsert = 1;
constexpr std::uint8_t kUpdate = 2;
constexpr std::uint8_t kDelete = 4;
constexpr std::uint8_t kAll = 7;

// Of one table, with row ids in a row. They begin at 1 mostly: row id 0 stands for the whole table.
inline std::vector<RecordBytes> changesOf(const std::string &table, std::uint8_t action, std::uint64_t firstId,
                                          std::uint64_t count) {
  std::vector<RecordBytes> records;
  records.reserve(static_cast<std::size_t>(count));
  for (std::uint64_t id = firstId; id < firstId + count; ++id)
    records.push_back(changeRecord("shop", table, action, id));
  return records;
}

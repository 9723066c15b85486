// A reader that does not read, and a writer that fills its queue.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "server/records.h"
#include "server/server_fixture.h"

class OverflowTest : public ServerTest {
 protected:
  explicit OverflowTest(const std::vector<std::string> &options) : ServerTest(options) {
    reader_.registerFor("shop", "articles", kAll);
  }

  // Announces changes of "articles" until the report says so. They have the ids from 1 to lastId_; the other reader
  // gets them all.
  template <typename Condition>
  void announceUntil(Condition condition) {
    const auto end = std::chrono::steady_clock::now() + kPatience;
    do {
      ASSERT_LT(std::chrono::steady_clock::now(), end) << report();
      ASSERT_NO_FATAL_FAILURE(announce(20));
    } while (!condition(report()));
  }

  void announceUntilOverflow() {
    announceUntil([](const auto &report) { return report["overflows"] == 1; });
  }

  void announce(std::uint64_t count, std::uint8_t action = kInsert) {
    const std::vector<RecordBytes> batch = changesOf("articles", action, lastId_ + 1, count);
    lastId_ += count;
    writer_.send(batch);
    for (const RecordBytes &change : batch) {
      ASSERT_EQ(reader_.receive(), change);
    }
  }

  // Takes the changes that `sleeper` gets one by one, and returns what comes after them.
  RecordBytes takeExact(ServerClient &sleeper, std::uint8_t action = kInsert) {
    for (std::uint64_t id = 1;; ++id) {
      const RecordBytes record = sleeper.receive();
      if (record != changeRecord("shop", "articles", action, id)) return record;
      exactCount_ = id;
    }
  }

  ServerClient reader_ = connectClient();
  ServerClient writer_ = connectClient();
  std::uint64_t lastId_ = 0;
  std::uint64_t exactCount_ = 0;
};

inline RecordBytes wholeTable(const std::string &table, std::uint8_t action) {
  return changeRecord("shop", table, action, 0);
}

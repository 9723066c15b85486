// The cap on what is unsent of all connections together.
#include <algorithm>

#include "server/overflow_fixture.h"
#include "server/process_state.h"

namespace {

class TotalQueue : public OverflowTest {
 protected:
  TotalQueue() : OverflowTest({"--resync=never", "--total-queue-limit=141000"}) {}

  // The connection that has registered so many keys.
  static nlohmann::json connectionWith(std::size_t keys, const nlohmann::json &report) {
    for (const nlohmann::json &connection : report["connections"]) {
      if (connection["registered_keys"] == keys) return connection;
    }
    throw std::runtime_error("no such connection");
  }
};

TEST_F(TotalQueue, LongestQueuePays) {
  ServerClient heavy = connectClient();
  ServerClient light = connectClient();
  for (const char *table : {"articles", "2"})
    heavy.registerFor("shop", table, kAll);
  for (const char *table : {"orders", "2", "3"})
    light.registerFor("shop", table, kAll);

  std::uint64_t orders = 0;
  ASSERT_TRUE(waitUntil([&] {
    writer_.send(changesOf("orders", kInsert, orders + 1, 20));
    orders += 20;
    return connectionWith(3, report())["queued_bytes"] > 0;
  }));
  ASSERT_NO_FATAL_FAILURE(announceUntilOverflow());
  const nlohmann::json seen = report();
  EXPECT_EQ(connectionWith(2, seen)["collapsed"], true);
  EXPECT_EQ(connectionWith(3, seen)["collapsed"], false);
  EXPECT_LT(connectionWith(2, seen)["largest_queue_bytes"], 256 * 1024);  // its own cap

  for (const RecordBytes &order : changesOf("orders", kInsert, 1, orders)) {
    ASSERT_EQ(light.receive(), order);
  }
  EXPECT_EQ(takeExact(heavy), wholeTable("articles", kInsert));
}

TEST_F(TotalQueue, ManyQueuesBelowTheirOwnCapsAreBoundedTogether) {
  std::vector<ServerClient> sleepers;
  for (int i = 0; i < 30; ++i) {
    sleepers.push_back(connectClient());
    sleepers.back().registerFor("shop", "articles", kAll);
  }
  std::size_t most = 0;
  announceUntil([&most](const auto &report) {
    most = std::max<std::size_t>(most, report["queued_bytes"]);
    return report["overflows"] >= 30;
  });
  EXPECT_GT(most, 0U);
  EXPECT_LE(most, 141000U);
  for (ServerClient &sleeper : sleepers)
    ASSERT_EQ(takeExact(sleeper), wholeTable("articles", kInsert));
}

// More changes than may be in transit are read at once, and nobody has been told of any.
TEST_F(TotalQueue, ChangesInTransitCountAndThoseThatDoNotFitAreToldWithRowIdZero) {
  std::vector<ServerClient> writers;
  for (int i = 0; i < 4; ++i)
    writers.push_back(connectClient());
  ServerClient another = connectClient();
  another.registerFor("shop", "orders", kInsert | kDelete | 0x80);
  stopProcess(server_.pid());
  for (ServerClient &writer : writers)
    writer.send(changesOf("articles", kUpdate, 1, 600));
  resumeProcess(server_.pid());
  for (const std::uint8_t action : {kInsert, kUpdate, kDelete})
    reader_.receiveUpTo(wholeTable("articles", action));
  for (const int action : {1, 4, 0x80})  // its changes may have been among them
    EXPECT_EQ(another.receive(), wholeTable("orders", static_cast<std::uint8_t>(action)));

  writer_.send(changeRecord("shop", "articles", kUpdate, 7));
  reader_.receiveUpTo(changeRecord("shop", "articles", kUpdate, 7));
}

class TotalQueueDefault : public OverflowTest {
 protected:
  TotalQueueDefault() : OverflowTest({"--resync=never"}) {}
};

TEST_F(TotalQueueDefault, Is16Mebibytes) {
  constexpr std::size_t kMebibyte = 1024 * 1024;
  std::vector<ServerClient> sleepers;
  for (int i = 0; i < 80; ++i) {
    sleepers.push_back(connectClient());
    sleepers.back().registerFor("shop", "articles", kAll);
  }
  std::size_t most = 0;
  announceUntil([&most](const auto &report) {
    most = std::max<std::size_t>(most, report["queued_bytes"]);
    return report["overflows"] >= 1;
  });
  EXPECT_LT(report()["largest_queue_bytes"], 256 * 1024);
  EXPECT_GT(most, 15 * kMebibyte);
  EXPECT_LE(most, 16 * kMebibyte);
}

}  // namespace

// What a reader gets that does not read its changes in time, when its queue is over its cap.
#include <sys/prctl.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>

#include "server/forked.h"
#include "server/overflow_fixture.h"

namespace {

class Overflow : public OverflowTest {
 protected:
  Overflow() : OverflowTest({"--resync=never", "--queue-limit=14100"}) {}

  ServerClient sleeper_ = connectClient();
};

TEST_F(Overflow, IsToldWithOneRecordOfRowIdZeroForEachDroppedAction) {
  sleeper_.registerFor("shop", "articles", kInsert | kDelete);
  announceUntilOverflow();
  announce(50, kUpdate);  // which the sleeper does not want
  announce(50, kInsert | kDelete | 0x80);
  EXPECT_EQ(takeExact(sleeper_), wholeTable("articles", kInsert));
  EXPECT_EQ(sleeper_.receive(), wholeTable("articles", kDelete));
  announce(1, kDelete);
  EXPECT_EQ(sleeper_.receive(), changeRecord("shop", "articles", kDelete, lastId_));
}

TEST_F(Overflow, IsToldOfAllEightBitsThatAreDroppedAndRegistered) {
  sleeper_.registerFor("shop", "articles", 0xff);
  announceUntilOverflow();
  announce(1, 0xff);
  RecordBytes record = takeExact(sleeper_);
  for (unsigned int bit = 1; bit <= 0x80; bit <<= 1) {
    EXPECT_EQ(record, wholeTable("articles", static_cast<std::uint8_t>(bit)));
    if (bit != 0x80) record = sleeper_.receive();
  }
  announce(1);
  EXPECT_EQ(sleeper_.receive(), changeRecord("shop", "articles", kInsert, lastId_));
}

TEST_F(Overflow, TakesEverythingThatWasQueuedAndNothingThatWasSent) {
  sleeper_.registerFor("shop", "articles", kAll);
  announceUntil([](const auto &report) { return report["queued_bytes"] > 0; });
  const std::uint64_t sent = lastId_ - report()["queued_bytes"].get<std::uint64_t>() / sizeof(RecordBytes);
  announceUntilOverflow();
  EXPECT_EQ(report()["queued_bytes"], 0);
  EXPECT_EQ(takeExact(sleeper_), wholeTable("articles", kInsert));
  EXPECT_EQ(exactCount_, sent);
}

TEST_F(Overflow, WhatWaitedIsToldThoughNothingOfItsKeyFollows) {
  for (const char *table : {"articles", "orders"})
    sleeper_.registerFor("shop", table, kAll);
  announceUntil([](const auto &report) { return report["queued_bytes"] > 0; });
  writer_.send(changeRecord("shop", "orders", kUpdate, 1));
  announceUntilOverflow();
  EXPECT_EQ(takeExact(sleeper_), wholeTable("articles", kInsert));
  EXPECT_EQ(sleeper_.receive(), wholeTable("orders", kUpdate));
}

TEST_F(Overflow, BeginsWhenTheQueueIsLongerThanItMayBe) {
  sleeper_.registerFor("shop", "articles", kAll);
  announceUntilOverflow();
  EXPECT_EQ(report()["largest_queue_bytes"], 14100 + sizeof(RecordBytes));
}

TEST_F(Overflow, ExactDeliveryResumesWhenTheCollapsedRecordsAreHandedOver) {
  sleeper_.registerFor("shop", "articles", kAll);
  announceUntilOverflow();
  EXPECT_EQ(takeExact(sleeper_), wholeTable("articles", kInsert));
  for (int i = 0; i < 200; ++i) {
    announce(1);
    ASSERT_EQ(sleeper_.receive(), changeRecord("shop", "articles", kInsert, lastId_));
  }
}

TEST_F(Overflow, OtherReadersGetTheirChangesOneByOneMeanwhile) {
  sleeper_.registerFor("shop", "articles", kAll);
  ServerClient late = connectClient();
  late.registerFor("shop", "orders", kAll);
  announceUntilOverflow();
  const std::vector<RecordBytes> orders = changesOf("orders", kUpdate, 1, 50);
  writer_.send(orders);
  announce(50);
  for (const RecordBytes &order : orders) {
    ASSERT_EQ(late.receive(), order);
  }
}

TEST_F(Overflow, MayComeAgain) {
  sleeper_.registerFor("shop", "articles", kAll);
  for (const int overflows : {1, 2, 3}) {
    const std::uint64_t first = lastId_ + 1;
    announceUntil([overflows](const auto &report) { return report["overflows"] == overflows; });
    for (std::uint64_t id = first;; ++id) {
      const RecordBytes record = sleeper_.receive();
      if (record == wholeTable("articles", kInsert)) break;
      ASSERT_EQ(record, changeRecord("shop", "articles", kInsert, id));
    }
  }
}

TEST_F(Overflow, IsToldOncePerKeyInTheOrderOfTheFirstDroppedChanges) {
  for (const char *table : {"articles", "b", "a", "c", "unchanged"})
    sleeper_.registerFor("shop", table, kAll);
  announceUntilOverflow();
  for (const char *table : {"c", "a", "b", "c"})
    writer_.send(changeRecord("shop", table, kUpdate, 1));
  announce(1, kUpdate);
  EXPECT_EQ(takeExact(sleeper_), wholeTable("articles", kInsert));
  EXPECT_EQ(sleeper_.receive(), wholeTable("articles", kUpdate));
  for (const char *table : {"c", "a", "b"})
    EXPECT_EQ(sleeper_.receive(), wholeTable(table, kUpdate));
  announce(1);
  EXPECT_EQ(sleeper_.receive(), changeRecord("shop", "articles", kInsert, lastId_));
}

// More keys than are told at a time.
TEST_F(Overflow, EachOfManyKeysIsToldOnce) {
  constexpr std::size_t kTables = 3000;
  sleeper_.registerFor("shop", "articles", kAll);
  std::vector<RecordBytes> expected{wholeTable("articles", kInsert)};
  for (std::size_t i = 0; i < kTables; ++i) {
    const std::string table = "table " + std::to_string(i);
    sleeper_.registerFor("shop", table, kAll);
    expected.push_back(wholeTable(table, kDelete));
  }
  announceUntilOverflow();
  for (std::size_t i = 0; i < kTables; ++i)
    writer_.send(changeRecord("shop", "table " + std::to_string(i), kDelete, 1));
  announce(1);
  std::vector<RecordBytes> told{takeExact(sleeper_)};
  while (told.size() < expected.size())
    told.push_back(sleeper_.receive());
  EXPECT_EQ(told, expected);
}

TEST_F(Overflow, KeyThatIsCancelledMeanwhileIsNotTold) {
  sleeper_.registerFor("shop", "articles", kAll);
  sleeper_.registerFor("shop", "orders", kAll);
  announceUntilOverflow();
  writer_.send(changeRecord("shop", "orders", kInsert, 1));
  writer_.registerFor("shop", "end", kAll);
  sleeper_.send(cancelRecord("shop", "orders", kAll));
  const RecordBytes registration = registerRecord("shop", "end", kAll, 0);
  sleeper_.send(registration);
  // Before it reads anything, so that the server has read the cancellation while nothing could be told.
  waitForReport([](const auto &report) {
    return report["keys"] == 2 && report["registered_keys"] == 4;  // articles twice, end twice
  });
  std::vector<RecordBytes> records = sleeper_.receiveUpTo(wholeTable("articles", kInsert));
  EXPECT_NE(std::find(records.begin(), records.end(), acceptance(registration)), records.end());
  announce(1);
  EXPECT_EQ(sleeper_.receive(), changeRecord("shop", "articles", kInsert, lastId_));
}

TEST_F(Overflow, IsCountedWithTheChangesThatWereDropped) {
  sleeper_.registerFor("shop", "articles", kAll);
  announceUntilOverflow();
  announce(100);
  EXPECT_EQ(takeExact(sleeper_), wholeTable("articles", kInsert));
  EXPECT_EQ(report()["collapsed"], lastId_ - exactCount_);
  EXPECT_EQ(report()["overflows"], 1);
}

TEST_F(Overflow, IsLoggedWithPidCommandAndUserOfThePeer) {
  const Forked peer([this] {
    prctl(PR_SET_NAME, "deep sleeper");
    ServerClient client = connectClient();
    client.registerFor("shop", "articles", kAll);
    for (;;)
      pause();
  });
  waitForReport([](const auto &report) { return report["registered_keys"] == 2; });
  ASSERT_NO_FATAL_FAILURE(announceUntilOverflow());
  const std::string line = "orvdb_server: process " + std::to_string(peer.pid()) + " (deep sleeper, user " +
                           std::to_string(getuid()) + ") does not read its changes";
  EXPECT_NE(server_.output().find(line), std::string::npos) << server_.output();
}

TEST_F(Overflow, OfManyReadersTakesOneLineOfTheLogInASecond) {
  constexpr int kSleepers = 50;
  std::vector<ServerClient> sleepers;
  for (int i = 0; i < kSleepers; ++i) {
    sleepers.push_back(connectClient());
    sleepers.back().registerFor("shop", "articles", kAll);
  }
  const auto start = std::chrono::steady_clock::now();
  announceUntil([](const auto &report) { return report["overflows"] == kSleepers; });
  const std::string log = server_.output();
  const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(std::chrono::steady_clock::now() - start);
  std::ptrdiff_t lines = 0;
  for (std::size_t at = 0; (at = log.find("does not read its changes", at)) != std::string::npos; ++at)
    ++lines;
  EXPECT_GE(lines, 1);
  EXPECT_LE(lines, seconds.count() + 2);
  EXPECT_TRUE(waitUntil([this] { return server_.output().find("like it)") != std::string::npos; }));
}

class QueueDefault : public OverflowTest {
 protected:
  QueueDefault() : OverflowTest({"--resync=never"}) { sleeper_.registerFor("shop", "articles", kAll); }

  ServerClient sleeper_ = connectClient();
};

constexpr std::size_t kDefaultCap = 256 * 1024;

TEST_F(QueueDefault, WhoReadsLateGetsAllThatFits256KibibytesOneByOne) {
  announceUntil([](const auto &report) { return report["queued_bytes"] > kDefaultCap - 30 * sizeof(RecordBytes); });
  EXPECT_EQ(report()["overflows"], 0);
  for (const RecordBytes &change : changesOf("articles", kInsert, 1, lastId_)) {
    ASSERT_EQ(sleeper_.receive(), change);
  }
}

// What waits is so much that the socket takes a part of it, and is read in pieces that fit no record; answers to
// registrations go ahead of it all the time.
TEST_F(QueueDefault, RecordThatIsPartlySentIsCompletedFirst) {
  constexpr std::size_t kPiece = 97;
  announceUntil([](const auto &report) { return report["queued_bytes"] > kDefaultCap - 30 * sizeof(RecordBytes); });
  const RecordBytes registration = registerRecord("shop", "articles", kAll, 0);
  Bytes stream;
  std::size_t answered = 0;
  std::size_t asked = 0;
  std::size_t at = 0;
  for (int pieces = 1; exactCount_ < lastId_ || answered < asked; ++pieces) {
    if (pieces % 50 == 0 && exactCount_ < lastId_) {
      sleeper_.send(registration);
      ++asked;
    }
    unsigned char piece[kPiece];
    const std::size_t count = sleeper_.receiveSome(piece, kPiece);
    ASSERT_NE(count, 0U);
    stream.insert(stream.end(), piece, piece + count);
    for (RecordBytes record; stream.size() - at >= record.size(); at += record.size()) {
      std::copy_n(stream.begin() + static_cast<std::ptrdiff_t>(at), record.size(), record.begin());
      if (record == acceptance(registration)) {
        ++answered;
      } else {
        ASSERT_EQ(record, changeRecord("shop", "articles", kInsert, ++exactCount_));
      }
    }
  }
  EXPECT_GT(answered, 0U);
}

TEST_F(QueueDefault, QueueIsNeverLongerThan256KibibytesAndTheChangeThatOverflowsIt) {
  announceUntilOverflow();
  announce(2000);
  EXPECT_GT(report()["largest_queue_bytes"], kDefaultCap);
  EXPECT_LE(report()["largest_queue_bytes"], kDefaultCap + sizeof(RecordBytes));
  EXPECT_EQ(takeExact(sleeper_), wholeTable("articles", kInsert));
}

}  // namespace

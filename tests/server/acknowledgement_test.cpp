// Answers to registrations when the one who registers does not read.
#include "server/overflow_fixture.h"

namespace {

class Acknowledgement : public OverflowTest {
 protected:
  Acknowledgement() : OverflowTest({"--resync=never"}) {
    sleeper_.registerFor("shop", "articles", kAll);
    reader_.registerFor("shop", "end", kAll);
  }

  // Nothing more goes into the sleeper's socket.
  void fillSocket() {
    announceUntil([](const auto &report) { return report["queued_bytes"] > 10 * sizeof(RecordBytes); });
  }

  void registerWithoutReading(std::size_t count, const std::string &table) {
    sleeper_.send(std::vector<RecordBytes>(count, registerRecord("shop", table, kAll, 0)));
    waitUntilRead();
  }

  void waitUntilRead() {
    sleeper_.send(changeRecord("shop", "end", kInsert, 1));
    ASSERT_EQ(reader_.receive(), changeRecord("shop", "end", kInsert, 1));
  }

  void expectEndForUnreadReplies() {
    sleeper_.waitForEnd();
    EXPECT_NE(server_.output().find("it does not read the replies to its registrations"), std::string::npos)
        << server_.output();
    EXPECT_EQ(report()["connections_cut"], 1);
    announce(1);
  }

  ServerClient sleeper_ = connectClient();
};

TEST_F(Acknowledgement, GoesAheadOfTheChangesThatWait) {
  ASSERT_NO_FATAL_FAILURE(fillSocket());
  const std::uint64_t queued = report()["queued_bytes"].get<std::uint64_t>() / sizeof(RecordBytes);
  ASSERT_NO_FATAL_FAILURE(registerWithoutReading(1, "orders"));
  EXPECT_EQ(takeExact(sleeper_), acceptance(registerRecord("shop", "orders", kAll, 0)));
  EXPECT_EQ(exactCount_, lastId_ - queued);
  for (const RecordBytes &change : changesOf("articles", kInsert, exactCount_ + 1, queued)) {
    ASSERT_EQ(sleeper_.receive(), change);
  }
}

TEST_F(Acknowledgement, IsNeverCollapsed) {
  announceUntilOverflow();
  ASSERT_NO_FATAL_FAILURE(registerWithoutReading(500, "orders"));
  const RecordBytes reply = acceptance(registerRecord("shop", "orders", kAll, 0));
  EXPECT_EQ(takeExact(sleeper_), reply);
  for (int i = 1; i < 500; ++i) {
    ASSERT_EQ(sleeper_.receive(), reply);
  }
  EXPECT_EQ(sleeper_.receive(), wholeTable("articles", kInsert));
}

TEST_F(Acknowledgement, ThousandMayWaitAndOneMoreEndsTheConnection) {
  ASSERT_NO_FATAL_FAILURE(fillSocket());
  ASSERT_NO_FATAL_FAILURE(registerWithoutReading(1000, "articles"));
  ASSERT_NO_FATAL_FAILURE(waitUntilRead());
  EXPECT_EQ(report()["connections_cut"], 0);
  sleeper_.send(registerRecord("shop", "articles", kAll, 0));
  expectEndForUnreadReplies();
}

// As many as a client repeats when it connects again, for it reads none before it has sent all.
TEST_F(Acknowledgement, AsManyAsRegistrationsAreHeldMayWait) {
  constexpr std::size_t kOthers = 1500;
  constexpr std::size_t kMostOfOneKey = 64;
  for (std::size_t i = 0; i < kOthers; ++i)
    sleeper_.registerFor("shop", "table " + std::to_string(i), kAll);
  ASSERT_NO_FATAL_FAILURE(fillSocket());
  ASSERT_NO_FATAL_FAILURE(registerWithoutReading(kOthers / 2, "articles"));
  ASSERT_NO_FATAL_FAILURE(registerWithoutReading(kOthers / 2, "articles"));
  ASSERT_NO_FATAL_FAILURE(registerWithoutReading(kMostOfOneKey, "articles"));
  EXPECT_EQ(report()["connections_cut"], 0);
  sleeper_.send(registerRecord("shop", "articles", kAll, 0));
  expectEndForUnreadReplies();
}

}  // namespace

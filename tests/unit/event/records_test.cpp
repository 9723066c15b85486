// What goes over the wire, byte for byte.
#include <algorithm>
#include <cstring>
#include <thread>

#include "event_support.h"

namespace {

using ::testing::ElementsAre;

using NotificationRecord = NotificationClient;

// "0123456789012...": a cut in the wrong place shows.
std::string nameOf(std::size_t length) {
  std::string name(length, '\0');
  for (std::size_t i = 0; i < length; ++i)
    name[i] = static_cast<char>('0' + i % 10);
  return name;
}

TEST_F(NotificationRecord, ChangeHasEveryFieldAtItsOffset) {
  ASSERT_EQ(orv_db_notify_change("shop", "items", ORV_DB_ACTION_UPDATE, 0x0102030405060708ULL), 0);

  RecordBytes expected{};
  expected[0] = 2;
  std::memcpy(&expected[4], "shop", 4);
  std::memcpy(&expected[68], "items", 5);
  expected[132] = 2;
  const unsigned char rowId[] = {8, 7, 6, 5, 4, 3, 2, 1};
  std::memcpy(&expected[133], rowId, sizeof rowId);
  EXPECT_THAT(recordsSent(), ElementsAre(expected));
}

TEST_F(NotificationRecord, RegistrationCarriesFlagAtByte133AndZerosBehind) {
  ASSERT_EQ(orv_db_register_callback("shop", "items", actions(5), this, 0xA5, f), 0);

  RecordBytes expected{};
  std::memcpy(&expected[4], "shop", 4);
  std::memcpy(&expected[68], "items", 5);
  expected[132] = 5;
  expected[133] = 0xA5;
  EXPECT_THAT(recordsSent(), ElementsAre(expected));
}

TEST_F(NotificationRecord, CancellationHasRowIdZero) {
  ASSERT_EQ(registerItems(7, f, nullptr, 0xFF), 0);
  ASSERT_EQ(cancelItems(4), 0);

  RecordBytes expected{};
  expected[0] = 1;
  std::memcpy(&expected[4], "shop", 4);
  std::memcpy(&expected[68], "items", 5);
  expected[132] = 4;
  EXPECT_EQ(recordsSent().at(1), expected);
}

TEST_F(NotificationRecord, UnknownRowIsSentAsAllBitsSet) {
  ASSERT_EQ(notifyItems(~0ULL), 0);
  const RecordBytes sent = recordsSent().at(0);
  EXPECT_TRUE(std::all_of(sent.begin() + 133, sent.end(), [](unsigned char byte) { return byte == 0xFF; }));
}

TEST_F(NotificationRecord, ActionIsCutToItsLowEightBits) {
  ASSERT_EQ(orv_db_notify_change("d", "t", actions(0x1204), 0), 0);
  ASSERT_EQ(orv_db_notify_change("d", "t", ORV_DB_ACTION_FORCE_32_BITS, 0), 0);
  EXPECT_THAT(recordsSent(), ElementsAre(changeRecord("d", "t", 4, 0), changeRecord("d", "t", 0xFF, 0)));
}

TEST_F(NotificationRecord, EmptyNamesAreNames) {
  ASSERT_EQ(orv_db_notify_change("", "", ORV_DB_ACTION_ALL, 1), 0);
  EXPECT_THAT(recordsSent(), ElementsAre(changeRecord("", "", 7, 1)));
}

TEST_F(NotificationRecord, NamesOf63CharactersAreSentWhole) {
  const std::string name = nameOf(63);
  ASSERT_EQ(orv_db_notify_change(name.c_str(), name.c_str(), ORV_DB_ACTION_INSERT, 0), 0);

  RecordBytes expected{};
  expected[0] = 2;
  std::memcpy(&expected[4], name.data(), 63);
  std::memcpy(&expected[68], name.data(), 63);
  expected[132] = 1;
  EXPECT_THAT(recordsSent(), ElementsAre(expected));
}

TEST_F(NotificationRecord, LongerNamesAreCutTo63CharactersInEveryKindOfRecord) {
  for (const std::size_t length : {64U, 65U, 300U}) {
    const std::string name = nameOf(length);
    ASSERT_EQ(orv_db_notify_change(name.c_str(), name.c_str(), ORV_DB_ACTION_INSERT, 0), 0);
    ASSERT_EQ(orv_db_register_callback(name.c_str(), name.c_str(), ORV_DB_ACTION_INSERT, nullptr, 0, f), 0);
    ASSERT_EQ(orv_db_cancel_callback(name.c_str(), name.c_str(), ORV_DB_ACTION_INSERT), 0);

    RecordBytes expected{};
    std::memcpy(&expected[4], name.data(), 63);
    std::memcpy(&expected[68], name.data(), 63);
    expected[132] = 1;
    const std::vector<RecordBytes> sent = recordsSent();
    ASSERT_EQ(sent.size(), 3U);
    for (std::uint8_t type : {MSG_CHANGE, MSG_REGISTER, MSG_CANCEL}) {
      expected[0] = type;
      EXPECT_THAT(sent, ::testing::Contains(expected)) << length << " characters, type " << int{type};
    }
  }
}

TEST_F(NotificationRecord, ThreadsThatSendSideBySideDoNotMixTheirRecords) {
  constexpr std::size_t kThreads = 4;
  constexpr std::size_t kEach = 250;
  std::vector<std::thread> senders;
  std::vector<RecordBytes> expected;
  for (std::size_t sender = 0; sender < kThreads; ++sender) {
    const std::string table = nameOf(20 + sender);
    for (std::size_t i = 0; i < kEach; ++i)
      expected.push_back(changeRecord("d", table, 1, i));
    senders.emplace_back([table] {
      for (std::size_t i = 0; i < kEach; ++i) {
        EXPECT_EQ(orv_db_notify_change("d", table.c_str(), ORV_DB_ACTION_INSERT, i), 0);
      }
    });
  }
  for (std::thread &sender : senders)
    sender.join();

  std::vector<RecordBytes> sent = recordsSent();
  std::sort(sent.begin(), sent.end());
  std::sort(expected.begin(), expected.end());
  EXPECT_EQ(sent, expected);
}

}  // namespace

// Which callback is called after several registrations and cancellations for one table.
#include "event_mgr_access.h"
#include "event_support.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr int kInsert = 1;
constexpr int kUpdate = 2;
constexpr int kDelete = 4;

class CallbackRegistry : public NotificationClient {
 protected:
  // The callback that a change of the table calls; 0 when none is.
  char calledFor(int action) {
    const std::vector<Call> calls = callsFor({itemsChange(static_cast<std::uint8_t>(action), 1)});
    EXPECT_LE(calls.size(), 1U);
    return calls.empty() ? '\0' : calls.front().callback;
  }
  // The masks of the table's registrations, in their order.
  static std::vector<int> masks() {
    std::vector<int> all;
    for (const RegistryEntry &entry : EventMgr::registry()) {
      if (entry.db == kDb && entry.table == kTable) all.push_back(entry.actions);
    }
    return all;
  }

  int data_ = 0;
  int otherData_ = 0;
};

TEST_F(CallbackRegistry, SameCallbackWithNullUserDataTwiceLeavesOneEntry) {
  EXPECT_EQ(registerItems(kInsert, f), 0);
  EXPECT_EQ(registerItems(kInsert, f), 0);
  EXPECT_THAT(masks(), ElementsAre(kInsert));
  EXPECT_EQ(calledFor(kInsert), 'f');
  EXPECT_EQ(cancelItems(kInsert), 0);
  EXPECT_EQ(calledFor(kInsert), '\0');
}

TEST_F(CallbackRegistry, SameCallbackWithUserDataTwiceLeavesOneEntry) {
  EXPECT_EQ(registerItems(kInsert, f, &data_), 0);
  EXPECT_EQ(registerItems(kInsert, f, &otherData_), 0);
  EXPECT_THAT(masks(), ElementsAre(kInsert));
  EXPECT_THAT(callsFor({itemsChange(kInsert, 3)}), ElementsAre(Call{'f', kDb, kTable, kInsert, 3, &otherData_}));
  EXPECT_EQ(cancelItems(kInsert), 0);
  EXPECT_EQ(calledFor(kInsert), '\0');
}

TEST_F(CallbackRegistry, WiderRegistrationErasesTheOneItCovers) {
  EXPECT_EQ(registerItems(kInsert, f), 0);
  EXPECT_EQ(registerItems(kInsert | kUpdate, g), 0);
  EXPECT_THAT(masks(), ElementsAre(3));
  EXPECT_EQ(calledFor(kInsert), 'g');
  EXPECT_EQ(calledFor(kUpdate), 'g');
}

TEST_F(CallbackRegistry, NarrowerRegistrationTakesItsActionsFromTheEarlierOne) {
  EXPECT_EQ(registerItems(kInsert | kUpdate, f), 0);
  EXPECT_EQ(registerItems(kInsert, g), 0);
  EXPECT_THAT(masks(), ElementsAre(2, 1));
  EXPECT_EQ(calledFor(kUpdate), 'f');
  EXPECT_EQ(calledFor(kInsert), 'g');
}

TEST_F(CallbackRegistry, RegistrationTakesActionsFromTheEarliestOverlapAlone) {
  EXPECT_EQ(registerItems(kInsert, f), 0);
  EXPECT_EQ(registerItems(kUpdate, g), 0);
  EXPECT_EQ(registerItems(kInsert | kUpdate, h), 0);
  EXPECT_THAT(masks(), ElementsAre(2, 3));
  EXPECT_EQ(calledFor(kUpdate), 'g');
  EXPECT_EQ(calledFor(kInsert), 'h');
}

TEST_F(CallbackRegistry, SameCallbackWithNullUserDataKeepsItsMaskEvenIfTheNewOneIsWider) {
  EXPECT_EQ(registerItems(kInsert, f), 0);
  EXPECT_EQ(registerItems(kInsert | kUpdate, f, nullptr, 9), 0);
  EXPECT_THAT(masks(), ElementsAre(kInsert));
  EXPECT_EQ(calledFor(kUpdate), '\0');
  EXPECT_EQ(calledFor(kInsert), 'f');
  // The server has heard of the wider mask all the same.
  EXPECT_THAT(recordsSent(), ElementsAre(registerRecord(kDb, kTable, 1, 0), registerRecord(kDb, kTable, 3, 9)));
}

TEST_F(CallbackRegistry, EntryWithNullUserDataIsNotReplacedByTheSameCallbackWithUserData) {
  EXPECT_EQ(registerItems(kInsert, f), 0);
  EXPECT_EQ(registerItems(kInsert, f, &data_), 0);
  EXPECT_THAT(callsFor({itemsChange(kInsert, 3)}), ElementsAre(Call{'f', kDb, kTable, kInsert, 3, nullptr}));
  EXPECT_THAT(masks(), ElementsAre(kInsert));
}

TEST_F(CallbackRegistry, SameCallbackForOtherActionsIsAnEntryOfItsOwn) {
  EXPECT_EQ(registerItems(kInsert, f), 0);
  EXPECT_EQ(registerItems(kDelete, f), 0);
  EXPECT_THAT(masks(), ElementsAre(kInsert, kDelete));
  EXPECT_EQ(calledFor(kDelete), 'f');
  EXPECT_EQ(calledFor(kUpdate), '\0');
}

TEST_F(CallbackRegistry, BitsBesideTheThreeCountAsOverlap) {
  EXPECT_EQ(registerItems(8 | kInsert, f), 0);
  EXPECT_EQ(registerItems(8 | kUpdate, g), 0);
  EXPECT_THAT(masks(), ElementsAre(kInsert, 8 | kUpdate));
}

TEST_F(CallbackRegistry, ChangeOfSeveralActionsCallsTheEarliestEntryThatHasAnyOfThem) {
  EXPECT_EQ(registerItems(kDelete, f), 0);
  EXPECT_EQ(registerItems(kInsert, g), 0);
  EXPECT_EQ(calledFor(ORV_DB_ACTION_ALL), 'f');
  EXPECT_EQ(calledFor(kInsert | kUpdate), 'g');
}

TEST_F(CallbackRegistry, ChangeUnderAnotherDatabaseNameCallsNothing) {
  ASSERT_EQ(registerItems(ORV_DB_ACTION_ALL, f), 0);
  EXPECT_THAT(callsFor({changeRecord("store", kTable, kInsert, 1)}), IsEmpty());
  EXPECT_EQ(calledFor(kInsert), 'f');
}

TEST_F(CallbackRegistry, NamesMatchOnlyByteForByte) {
  ASSERT_EQ(registerItems(ORV_DB_ACTION_ALL, f), 0);
  ASSERT_EQ(orv_db_register_callback("", "", ORV_DB_ACTION_ALL, nullptr, 0, g), 0);
  ASSERT_EQ(orv_db_register_callback("sho", "pitems", ORV_DB_ACTION_ALL, nullptr, 0, g), 0);
  for (const auto &[db, table] : std::vector<std::pair<std::string, std::string>>{
           {"Shop", "items"}, {"shop", "Items"}, {"shop", "item"}, {"shop", "items2"}, {"shopi", "tems"}, {"%", "%"}}) {
    EXPECT_THAT(callsFor({changeRecord(db, table, kInsert, 1)}), IsEmpty()) << db << '.' << table;
  }
  EXPECT_EQ(calledFor(kInsert), 'f');
  EXPECT_THAT(callsFor({changeRecord("", "", kInsert, 1)}), ElementsAre(Call{'g', "", "", kInsert, 1}));
}

TEST_F(CallbackRegistry, NamesOf63CharactersMatchAndLongerOnesNeverDo) {
  const std::string longest(63, 'n');
  const std::string tooLong(64, 'n');
  ASSERT_EQ(orv_db_register_callback(tooLong.c_str(), "t", ORV_DB_ACTION_ALL, nullptr, 0, f), 0);
  ASSERT_EQ(orv_db_register_callback("d", tooLong.c_str(), ORV_DB_ACTION_ALL, nullptr, 0, f), 0);
  EXPECT_THAT(callsFor({changeRecord(tooLong, "t", kInsert, 1), changeRecord("d", tooLong, kInsert, 1)}), IsEmpty());

  ASSERT_EQ(orv_db_register_callback(longest.c_str(), longest.c_str(), ORV_DB_ACTION_ALL, nullptr, 0, g), 0);
  EXPECT_THAT(callsFor({changeRecord(longest, longest, kInsert, 1)}),
              ElementsAre(Call{'g', longest, longest, kInsert, 1}));
}

TEST_F(CallbackRegistry, NullCallbackTakesTheChangeAndCallsNothing) {
  ASSERT_EQ(registerItems(kInsert, f), 0);
  ASSERT_EQ(registerItems(kInsert, nullptr), 0);
  EXPECT_EQ(calledFor(kInsert), '\0');
  EXPECT_THAT(masks(), ElementsAre(kInsert));
}

TEST_F(CallbackRegistry, OrderOfKeysIsByDatabaseThenTableByUnsignedBytesWithTheShorterFirst) {
  for (const auto &[db, table] : std::vector<std::pair<const char *, const char *>>{
           {"b", "a"}, {"\xC3\xA4", "a"}, {"a", "bb"}, {"a", "b"}, {"ab", "a"}, {"a", "\xFF"}, {"B", "z"}}) {
    ASSERT_EQ(orv_db_register_callback(db, table, ORV_DB_ACTION_INSERT, nullptr, 0, f), 0);
  }
  std::vector<std::string> order;
  for (const RegistryEntry &entry : EventMgr::registry())
    order.push_back(entry.db + "." + entry.table);
  EXPECT_THAT(order, ElementsAre("B.z", "a.b", "a.bb", "a.\xFF", "ab.a", "b.a", "last.last", "\xC3\xA4.a"));
}

using Cancellation = CallbackRegistry;

TEST_F(Cancellation, OfAKeyThatWasNeverRegisteredReturns0AndSendsNothing) {
  EXPECT_EQ(cancelItems(ORV_DB_ACTION_ALL), 0);
  EXPECT_THAT(recordsSent(), IsEmpty());
  ASSERT_EQ(registerItems(kInsert, f), 0);
  EXPECT_EQ(cancelItems(kInsert), 0);
  EXPECT_THAT(recordsSent(), ElementsAre(registerRecord(kDb, kTable, 1, 0), cancelRecord(kDb, kTable, 1)));
}

TEST_F(Cancellation, OfActionsThatNobodyHasReturns0AndSendsNothing) {
  ASSERT_EQ(registerItems(kInsert, f), 0);
  recordsSent();
  EXPECT_EQ(cancelItems(kUpdate | kDelete), 0);
  EXPECT_THAT(recordsSent(), IsEmpty());
  EXPECT_EQ(calledFor(kInsert), 'f');
}

TEST_F(Cancellation, LeavesTheOtherActionsOfTheEntry) {
  ASSERT_EQ(registerItems(ORV_DB_ACTION_ALL, f), 0);
  recordsSent();
  EXPECT_EQ(cancelItems(kUpdate), 0);
  EXPECT_THAT(recordsSent(), ElementsAre(cancelRecord(kDb, kTable, 2)));
  EXPECT_THAT(masks(), ElementsAre(5));
  EXPECT_EQ(calledFor(kUpdate), '\0');
  EXPECT_EQ(calledFor(kInsert), 'f');
  EXPECT_EQ(calledFor(kDelete), 'f');
}

TEST_F(Cancellation, OfTheLastActionsErasesTheEntry) {
  ASSERT_EQ(registerItems(kInsert | kUpdate, f), 0);
  EXPECT_EQ(calledFor(kInsert), 'f');
  EXPECT_EQ(cancelItems(ORV_DB_ACTION_ALL), 0);
  EXPECT_THAT(masks(), IsEmpty());
  EXPECT_EQ(calledFor(kInsert), '\0');
}

TEST_F(Cancellation, ChangesTheEarliestOverlapAlone) {
  ASSERT_EQ(registerItems(kInsert, f), 0);
  ASSERT_EQ(registerItems(kUpdate, g), 0);
  recordsSent();
  EXPECT_EQ(cancelItems(kInsert | kUpdate), 0);
  EXPECT_THAT(masks(), ElementsAre(kUpdate));
  EXPECT_EQ(calledFor(kInsert), '\0');
  EXPECT_EQ(calledFor(kUpdate), 'g');
  // The record names the actions as they were given.
  EXPECT_THAT(recordsSent(), ElementsAre(cancelRecord(kDb, kTable, 3)));
  EXPECT_EQ(cancelItems(kInsert | kUpdate), 0);
  EXPECT_EQ(calledFor(kUpdate), '\0');
}

TEST_F(Cancellation, AwaitsNoReply) {
  ASSERT_EQ(registerItems(kInsert, f), 0);
  peer.answerRegistrations(Answer::silence);
  EXPECT_EQ(cancelItems(kInsert), 0);
}

}  // namespace

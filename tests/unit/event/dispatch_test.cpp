// How the message thread takes the server's records and calls callbacks.
#include <atomic>
#include <cstring>
#include <future>
#include <thread>

#include "event_mgr_access.h"
#include "event_support.h"

namespace {

using namespace std::chrono_literals;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

using ByteList = std::initializer_list<std::uint8_t>;

class ChangeDispatch : public NotificationClient {
 protected:
  static Call fWith(int action, unsigned long long rowId) { return {'f', kDb, kTable, action, rowId}; }
};

TEST_F(ChangeDispatch, PassesNamesActionRowIdAndUserData) {
  ASSERT_EQ(registerItems(ORV_DB_ACTION_ALL, f, this), 0);
  EXPECT_THAT(callsFor({itemsChange(4, 0x0102030405060708)}),
              ElementsAre(Call{'f', kDb, kTable, 4, 0x0102030405060708, this}));
}

TEST_F(ChangeDispatch, PassesTheActionByteAndRowIdWhole) {
  ASSERT_EQ(registerItems(ORV_DB_ACTION_ALL, f), 0);
  EXPECT_THAT(callsFor({itemsChange(0xFF, ~0ULL), itemsChange(7, 0)}), ElementsAre(fWith(0xFF, ~0ULL), fWith(7, 0)));
}

TEST_F(ChangeDispatch, SeveralRecordsMayArriveInOnePiece) {
  ASSERT_EQ(registerItems(ORV_DB_ACTION_ALL, f), 0);
  EXPECT_THAT(callsFor({itemsChange(1, 1), itemsChange(2, 2), itemsChange(4, 3)}),
              ElementsAre(fWith(1, 1), fWith(2, 2), fWith(4, 3)));
}

TEST_F(ChangeDispatch, RecordMayArriveInPieces) {
  ASSERT_EQ(registerItems(ORV_DB_ACTION_ALL, f), 0);
  for (const std::size_t pieceLength : {1U, 70U, 140U}) {
    peer.sendInPieces(0, pieceLength, concatenated({itemsChange(1, pieceLength), itemsChange(2, pieceLength)}));
    EXPECT_THAT(callLog().waitFor(2), ElementsAre(fWith(1, pieceLength), fWith(2, pieceLength)));
  }
}

TEST_F(ChangeDispatch, RecordsOfOtherTypesAndStatusesAreIgnored) {
  ASSERT_EQ(registerItems(ORV_DB_ACTION_ALL, f), 0);
  std::vector<RecordBytes> ignored;
  for (const std::uint8_t type : ByteList{1, 3, 0x42, 0xFF}) {
    for (const std::uint8_t status : ByteList{0, 1})
      ignored.push_back(record(type, status, kDb, kTable, 1, 1));
  }
  for (const std::uint8_t status : ByteList{1, 2, 0xFF})
    ignored.push_back(record(MSG_CHANGE, status, kDb, kTable, 1, 1));
  EXPECT_THAT(callsFor(ignored), IsEmpty());
  EXPECT_THAT(callsFor({itemsChange(1, 1)}), ElementsAre(fWith(1, 1)));
}

TEST_F(ChangeDispatch, OnlyAReplyWithStatus1AcceptsARegistration) {
  std::vector<RecordBytes> others{record(MSG_CANCEL, 1, kDb, kTable, 1, 0), record(MSG_CHANGE, 1, kDb, kTable, 1, 0)};
  for (const std::uint8_t status : ByteList{0, 2, 0xFF})
    others.push_back(record(MSG_REGISTER, status, kDb, kTable, 1, 0));
  peer.answerRegistrations(Answer::refuse, 0ms, concatenated(others));
  EXPECT_EQ(registerItems(1, f), 7);
}

TEST_F(ChangeDispatch, ActionWithNoneOfTheRegisteredBitsCallsNothing) {
  ASSERT_EQ(registerItems(ORV_DB_ACTION_ALL, f), 0);
  EXPECT_THAT(callsFor({itemsChange(0, 1), itemsChange(8, 2), itemsChange(0xF8, 3)}), IsEmpty());
  EXPECT_THAT(callsFor({itemsChange(0xF9, 4)}), ElementsAre(fWith(0xF9, 4)));
}

// Were the names not cut, the database's would run on into the table's and that one's into the rest of the record.
TEST_F(ChangeDispatch, NamesWithoutTerminatorAreCutTo63Characters) {
  const std::string db(63, 'd');
  const std::string table(63, 't');
  ASSERT_EQ(orv_db_register_callback(db.c_str(), table.c_str(), ORV_DB_ACTION_ALL, nullptr, 0, f), 0);
  RecordBytes change = changeRecord("", "", 1, ~0ULL);
  std::memset(&change[4], 'd', 64);
  std::memset(&change[68], 't', 64);
  EXPECT_THAT(callsFor({change}), ElementsAre(Call{'f', db, table, 1, ~0ULL}));
}

TEST_F(ChangeDispatch, RunsOnAThreadOfItsOwnWithoutAnyLock) {
  std::promise<bool> elsewhere;
  std::promise<std::vector<bool>> locks;
  const std::thread::id here = std::this_thread::get_id();
  const Task task = [&] {
    elsewhere.set_value(std::this_thread::get_id() != here);
    locks.set_value(
        {EventMgr::runLockIsHeld(), EventMgr::regLockIsHeld(), EventMgr::mapLockIsHeld(), EventMgr::sockLockIsHeld()});
  };
  ASSERT_EQ(registerItems(1, runTask, const_cast<Task *>(&task)), 0);
  peer.sendRecord(0, itemsChange(1, 1));
  EXPECT_TRUE(elsewhere.get_future().get());
  EXPECT_THAT(locks.get_future().get(), ElementsAre(false, false, false, false));
  callsFor({});
}

TEST_F(ChangeDispatch, CallOnItsWayGoesOnWhileAnotherThreadCancelsIt) {
  std::promise<void> begun;
  std::promise<void> mayEnd;
  std::atomic<bool> ended{false};
  const Task task = [&] {
    begun.set_value();
    mayEnd.get_future().wait();
    ended = true;
  };
  ASSERT_EQ(registerItems(1, runTask, const_cast<Task *>(&task)), 0);
  peer.sendRecord(0, itemsChange(1, 1));
  begun.get_future().wait();
  EXPECT_EQ(cancelItems(1), 0);
  EXPECT_FALSE(ended);
  mayEnd.set_value();
  EXPECT_THAT(callsFor({itemsChange(1, 2)}), IsEmpty());
  EXPECT_TRUE(ended);
}

TEST_F(ChangeDispatch, GoesOnWhileOtherThreadsRegisterAndCancel) {
  ASSERT_EQ(registerItems(1, f), 0);
  std::atomic<bool> enough{false};
  std::vector<std::thread> threads(2);
  for (std::thread &thread : threads) {
    thread = std::thread([&enough] {
      while (!enough) {
        EXPECT_EQ(registerItems(2, g), 0);
        EXPECT_EQ(cancelItems(2), 0);
      }
    });
  }
  constexpr std::size_t kChanges = 100;
  for (std::size_t i = 0; i < kChanges; ++i) {
    EXPECT_THAT(callsFor({itemsChange(1, i)}), ElementsAre(fWith(1, i)));
  }
  enough = true;
  for (std::thread &thread : threads)
    thread.join();
}

using InsideCallback = ChangeDispatch;

TEST_F(InsideCallback, NotificationAndCancellationWork) {
  std::promise<std::vector<int>> statuses;
  const Task task = [&] { statuses.set_value({notifyItems(5), cancelItems(1)}); };
  ASSERT_EQ(registerItems(1, runTask, const_cast<Task *>(&task)), 0);
  recordsSent();
  peer.sendRecord(0, itemsChange(1, 1));
  EXPECT_THAT(statuses.get_future().get(), ElementsAre(0, 0));
  EXPECT_THAT(recordsSent(), ElementsAre(itemsChange(1, 5), cancelRecord(kDb, kTable, 1)));
  // Were it still registered, the promise would be kept twice, which throws.
  EXPECT_THAT(callsFor({itemsChange(1, 2)}), IsEmpty());
}

TEST_F(InsideCallback, RegistrationReturns7AfterTwoSecondsThoughTheServerAccepts) {
  std::promise<int> status;
  const Task task = [&] {
    status.set_value(orv_db_register_callback(kDb, "other", ORV_DB_ACTION_INSERT, nullptr, 0, g));
  };
  ASSERT_EQ(registerItems(1, runTask, const_cast<Task *>(&task)), 0);
  const Stopwatch stopwatch;
  peer.sendRecord(0, itemsChange(1, 1));
  EXPECT_EQ(status.get_future().get(), 7);
  EXPECT_GE(stopwatch.elapsed(), 1990ms);
  EXPECT_THAT(callsFor({changeRecord(kDb, "other", 1, 1)}), IsEmpty());

  // Its late reply does no harm.
  peer.answerRegistrations(Answer::accept, 200ms);
  EXPECT_EQ(orv_db_register_callback(kDb, "other", ORV_DB_ACTION_INSERT, nullptr, 0, g), 0);
  EXPECT_THAT(callsFor({changeRecord(kDb, "other", 1, 1)}), ElementsAre(Call{'g', kDb, "other", 1, 1}));
}

}  // namespace

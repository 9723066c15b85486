// What orvdb_server does with the records of its clients. That something does not arrive is seen from what arrives
// next: changes of one sender keep their order.
#include <signal.h>

#include "server/server_fixture.h"

namespace {

constexpr std::uint8_t kInsert = 1;
constexpr std::uint8_t kUpdate = 2;
constexpr std::uint8_t kDelete = 4;
constexpr std::uint8_t kAll = 7;

class Forwarding : public ServerTest {
 protected:
  ServerClient reader_ = connectClient();
  ServerClient writer_ = connectClient();
};

// Offsets of the record.
constexpr std::size_t kDb = 4;
constexpr std::size_t kTable = 68;
constexpr std::size_t kNameSize = 64;

TEST_F(Forwarding, RegistrationIsAnsweredWithTheSameRecordAndStatus1) {
  RecordBytes registration = registerRecord("shop", "articles", kAll, 0xa5);
  reader_.send(registration);
  registration[1] = 1;
  EXPECT_EQ(reader_.receive(), registration);
}

TEST_F(Forwarding, ChangeReachesEveryOtherClientThatRegisteredUnchanged) {
  ServerClient another = connectClient();
  reader_.registerFor("shop", "articles", kAll);
  another.registerFor("shop", "articles", kUpdate);
  const RecordBytes change = changeRecord("shop", "articles", kUpdate, 0x0102030405060708);
  writer_.send(change);
  EXPECT_EQ(reader_.receive(), change);
  EXPECT_EQ(another.receive(), change);
}

TEST_F(Forwarding, SenderDoesNotHearItsOwnChange) {
  writer_.registerFor("shop", "articles", kAll);
  reader_.registerFor("shop", "articles", kAll);
  writer_.send(changeRecord("shop", "articles", kInsert, 1));
  EXPECT_EQ(reader_.receive(), changeRecord("shop", "articles", kInsert, 1));
  reader_.send(changeRecord("shop", "articles", kInsert, 2));
  EXPECT_EQ(writer_.receive(), changeRecord("shop", "articles", kInsert, 2));
}

TEST_F(Forwarding, OtherDatabasesTablesAndActionsAreNotDelivered) {
  reader_.registerFor("shop", "articles", kInsert | kUpdate);
  writer_.send(changeRecord("shop2", "articles", kInsert, 1));
  writer_.send(changeRecord("shop", "Articles", kInsert, 2));
  writer_.send(changeRecord("shop", "articles", kDelete, 3));
  writer_.send(changeRecord("shop", "articles", kUpdate, 4));
  EXPECT_EQ(reader_.receive(), changeRecord("shop", "articles", kUpdate, 4));
}

TEST_F(Forwarding, OneCommonActionIsEnough) {
  reader_.registerFor("shop", "articles", kUpdate);
  writer_.send(changeRecord("shop", "articles", kAll, 0));
  EXPECT_EQ(reader_.receive(), changeRecord("shop", "articles", kAll, 0));
}

TEST_F(Forwarding, ActionsOfSeveralRegistrationsAddUpAndChangesComeOnce) {
  reader_.registerFor("shop", "articles", kInsert | kUpdate);
  reader_.registerFor("shop", "articles", kUpdate | kDelete);
  for (const std::uint8_t action : {kInsert, kUpdate, kDelete}) {
    writer_.send(changeRecord("shop", "articles", action, 1));
  }
  for (const std::uint8_t action : {kInsert, kUpdate, kDelete}) {
    EXPECT_EQ(reader_.receive(), changeRecord("shop", "articles", action, 1));
  }
}

TEST_F(Forwarding, CancelTakesItsActionsAwayAndLeavesTheOthers) {
  reader_.registerFor("shop", "articles", kAll);
  reader_.send(cancelRecord("shop", "articles", kInsert | kDelete));
  reader_.registerFor("shop", "end", kAll);  // its answer says that the cancel has been read
  writer_.send(changeRecord("shop", "articles", kInsert, 1));
  writer_.send(changeRecord("shop", "articles", kDelete, 2));
  writer_.send(changeRecord("shop", "articles", kUpdate, 3));
  EXPECT_EQ(reader_.receive(), changeRecord("shop", "articles", kUpdate, 3));
}

TEST_F(Forwarding, CancelOfOneClientLeavesTheRegistrationsOfAnother) {
  ServerClient another = connectClient();
  reader_.registerFor("shop", "articles", kAll);
  another.registerFor("shop", "articles", kAll);
  another.registerFor("shop", "end", kAll);
  another.send(cancelRecord("shop", "articles", kAll));
  another.send(cancelRecord("shop", "never registered", kAll));
  another.registerFor("shop", "end", kAll);
  writer_.send(changeRecord("shop", "articles", kInsert, 1));
  writer_.send(changeRecord("shop", "end", kInsert, 2));
  EXPECT_EQ(reader_.receive(), changeRecord("shop", "articles", kInsert, 1));
  EXPECT_EQ(another.receive(), changeRecord("shop", "end", kInsert, 2));
}

TEST_F(Forwarding, NamesEndAtTheFirstNul) {
  RecordBytes registration = registerRecord("shop", "articles", kAll, 0);
  registration[kDb + 5] = 'x';
  registration[kTable + kNameSize - 1] = 'y';
  reader_.send(registration);
  EXPECT_EQ(reader_.receive(), acceptance(registration));
  RecordBytes change = changeRecord("shop", "articles", kInsert, 1);
  change[kTable + 9] = 'z';
  writer_.send(change);
  EXPECT_EQ(reader_.receive(), change);
}

TEST_F(Forwarding, NamesWithoutNulEndAfter63Bytes) {
  const std::string longest(kNameSize - 1, 'n');
  reader_.registerFor("shop", longest, kAll);
  RecordBytes change = changeRecord("shop", longest, kInsert, 1);
  change[kTable + kNameSize - 1] = 'n';
  writer_.send(change);
  EXPECT_EQ(reader_.receive(), change);
}

TEST_F(Forwarding, ChangeWithAStatusIsNotForwarded) {
  reader_.registerFor("shop", "articles", kAll);
  writer_.send(record(MSG_CHANGE, 1, "shop", "articles", kInsert, 1));
  writer_.send(changeRecord("shop", "articles", kInsert, 2));
  EXPECT_EQ(reader_.receive(), changeRecord("shop", "articles", kInsert, 2));
}

TEST_F(Forwarding, RecordInPiecesIsPutTogetherAndHoldsNobodyUp) {
  reader_.registerFor("shop", "articles", kAll);
  const RecordBytes change = changeRecord("shop", "articles", kInsert, 1);
  writer_.sendBytes(change.data(), 70);
  ServerClient another = connectClient();
  another.send(changeRecord("shop", "articles", kInsert, 2));
  EXPECT_EQ(reader_.receive(), changeRecord("shop", "articles", kInsert, 2));
  writer_.sendBytes(change.data() + 70, change.size() - 70);
  EXPECT_EQ(reader_.receive(), change);
}

TEST_F(Forwarding, ManyRecordsInOneWriteKeepTheirOrder) {
  constexpr std::uint64_t kCount = 1000;  // more than the server reads at once
  reader_.registerFor("shop", "articles", kAll);
  std::vector<RecordBytes> changes;
  for (std::uint64_t id = 0; id < kCount; ++id) {
    changes.push_back(changeRecord("shop", "articles", kInsert, id));
  }
  const Bytes bytes = concatenated(changes);
  writer_.sendBytes(bytes.data(), bytes.size());
  for (const RecordBytes &change : changes) {
    ASSERT_EQ(reader_.receive(), change);
  }
}

TEST_F(Forwarding, WhatASenderWroteBeforeItClosedIsDelivered) {
  reader_.registerFor("shop", "articles", kAll);
  writer_.send(changeRecord("shop", "articles", kInsert, 1));
  writer_.send(changeRecord("shop", "articles", kInsert, 2));
  writer_.close();
  EXPECT_EQ(reader_.receive(), changeRecord("shop", "articles", kInsert, 1));
  EXPECT_EQ(reader_.receive(), changeRecord("shop", "articles", kInsert, 2));
}

TEST_F(Forwarding, WhatASenderWroteIsDeliveredThoughNobodyReadsThereAnyMore) {
  constexpr std::uint64_t kCount = 800;  // more than the server reads at once, less than a socket holds
  reader_.registerFor("shop", "articles", kAll);
  writer_.registerFor("shop", "articles", kAll);
  std::vector<RecordBytes> changes;
  for (std::uint64_t id = 0; id < kCount; ++id) {
    changes.push_back(changeRecord("shop", "articles", kInsert, id));
  }
  const Bytes bytes = concatenated(changes);
  server_.signal(SIGSTOP);
  writer_.sendBytes(bytes.data(), bytes.size());
  writer_.close();
  reader_.send(changeRecord("shop", "articles", kUpdate, 1));  // the server finds the writer gone when it forwards this
  server_.signal(SIGCONT);
  for (const RecordBytes &change : changes) {
    ASSERT_EQ(reader_.receive(), change);
  }
}

TEST_F(Forwarding, ClosedConnectionIsForgottenWithItsRegistrations) {
  reader_.registerFor("shop", "articles", kAll);
  reader_.registerFor("shop", "end", kAll);
  reader_.close();
  ServerClient successor = connectClient();  // may get the same descriptor in the server
  successor.registerFor("shop", "end", kAll);
  writer_.send(changeRecord("shop", "articles", kInsert, 1));
  writer_.send(changeRecord("shop", "end", kInsert, 2));
  EXPECT_EQ(successor.receive(), changeRecord("shop", "end", kInsert, 2));
}

}  // namespace

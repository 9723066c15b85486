// What orvdb_server does with the records of its clients. That something does not arrive is seen from what arrives
// next: changes of one sender keep their order.
#include <signal.h>
#include <unistd.h>

#include <iterator>
#include <map>

#include "server/forked.h"
#include "server/process_state.h"
#include "server/records.h"
#include "server/server_fixture.h"

namespace {

class Forwarding : public ServerTest {
 protected:
  ServerClient reader_ = connectClient();
  ServerClient writer_ = connectClient();
};

// Offsets of the record.
constexpr std::size_t kDb = 4;
constexpr std::size_t kTable = 68;
constexpr std::size_t kNameSize = 64;
constexpr std::size_t kAction = 132;

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

// A record needs one of the three lowest bits; those of the mask and of the change differ here.
TEST_F(Forwarding, EachOfTheEightBitsOfAMaskCounts) {
  for (unsigned int bit = 1; bit <= 0x80; bit <<= 1) {
    const std::string table = "table " + std::to_string(bit);
    const auto mask = static_cast<std::uint8_t>(bit > kAll ? bit | kInsert : bit);
    const auto others = static_cast<std::uint8_t>(~mask);
    const auto common = static_cast<std::uint8_t>(bit > kAll ? bit | kUpdate : bit);
    reader_.registerFor("shop", table, mask);
    writer_.send(changeRecord("shop", table, others, 1));
    writer_.send(changeRecord("shop", table, common, 2));
    EXPECT_EQ(reader_.receive(), changeRecord("shop", table, common, 2));
  }
}

TEST_F(Forwarding, CancelTakesItsActionAwayAndLeavesTheOthers) {
  reader_.registerFor("shop", "articles", kAll);
  reader_.send(cancelRecord("shop", "articles", kInsert));
  reader_.send(cancelRecord("shop", "articles", kDelete));
  reader_.registerFor("shop", "end", kAll);  // its answer says that the cancels have been read
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

TEST_F(Forwarding, ManyRecordsInOneWriteKeepTheirOrder) {
  constexpr std::uint64_t kCount = 1000;  // more than the server reads at once
  reader_.registerFor("shop", "articles", kAll);
  const std::vector<RecordBytes> changes = changesOf("articles", kInsert, 1, kCount);
  writer_.send(changes);
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

// The server's own write to the sender fails before it has read all of it.
TEST_F(Forwarding, WhatASenderWroteIsDeliveredThoughNobodyReadsThereAnyMore) {
  constexpr std::uint64_t kCount = 800;  // less than a socket holds
  reader_.registerFor("shop", "articles", kAll);
  writer_.registerFor("shop", "articles", kAll);
  const std::vector<RecordBytes> changes = changesOf("articles", kInsert, 1, kCount);
  stopProcess(server_.pid());
  writer_.send(changes);
  writer_.close();
  reader_.send(changeRecord("shop", "articles", kUpdate, 1));
  resumeProcess(server_.pid());
  for (const RecordBytes &change : changes) {
    ASSERT_EQ(reader_.receive(), change);
  }
}

TEST_F(Forwarding, WhatAProcessWroteBeforeItDiedIsDelivered) {
  reader_.registerFor("shop", "articles", kAll);
  const std::vector<RecordBytes> changes = changesOf("articles", kInsert, 1, 800);
  const Forked process([&] {
    ServerClient client = connectClient();
    client.registerFor("shop", "articles", kAll);
    client.send(changes);
    kill(getpid(), SIGKILL);
  });
  for (const RecordBytes &change : changes) {
    ASSERT_EQ(reader_.receive(), change);
  }
}

TEST_F(Forwarding, ChangesOfEachOfSeveralSendersKeepTheirOrderAndComeOnce) {
  constexpr std::uint64_t kCount = 400;  // of all four less than a queue holds
  reader_.registerFor("shop", "articles", kAll);
  const std::uint8_t actions[] = {1, 2, 3, 4};  // one for each sender
  std::vector<Forked> senders;
  for (const std::uint8_t action : actions) {
    senders.emplace_back([this, action] {
      ServerClient client = connectClient();
      for (const RecordBytes &change : changesOf("articles", action, 1, kCount))
        client.send(change);
    });
  }
  std::map<std::uint8_t, std::uint64_t> lastIds;
  for (std::uint64_t i = 0; i < std::size(actions) * kCount; ++i) {
    const RecordBytes change = reader_.receive();
    const std::uint8_t action = change[kAction];
    ASSERT_EQ(change, changeRecord("shop", "articles", action, ++lastIds[action]));
  }
  writer_.send(changeRecord("shop", "articles", kInsert, 1));
  EXPECT_EQ(reader_.receive(), changeRecord("shop", "articles", kInsert, 1));
  EXPECT_EQ(lastIds, (std::map<std::uint8_t, std::uint64_t>{{1, kCount}, {2, kCount}, {3, kCount}, {4, kCount}}));
}

TEST_F(Forwarding, FloodsOnOtherSocketsDelayAChangeByABoundedTime) {
  reader_.registerFor("shop", "articles", kAll);
  std::vector<Forked> flooders;
  for (int i = 0; i < 3; ++i) {
    flooders.emplace_back([this] {
      ServerClient client = connectClient();
      const std::vector<RecordBytes> flood = changesOf("nobody's", kInsert, 1, 100);
      for (;;)
        client.send(flood);
    });
  }
  std::uint64_t id = 0;
  ASSERT_TRUE(waitUntil([&] {  // the flood is there
    for (int i = 0; i < 100; ++i) {
      writer_.send(changeRecord("shop", "articles", kInsert, ++id));
      EXPECT_EQ(reader_.receive(), changeRecord("shop", "articles", kInsert, id));
    }
    return report()["records_in"] > 100 * id;
  }));
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

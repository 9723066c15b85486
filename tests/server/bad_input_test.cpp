// Bad input harms its sender alone.
#include "server/process_state.h"
#include "server/records.h"
#include "server/server_fixture.h"

namespace {

constexpr std::uint8_t kNoKnownAction[] = {0, 8, 0xf8};

class BadInput : public ServerTest {
 protected:
  BadInput() { reader_.registerFor("shop", "articles", kAll); }

  // The reader gets this, and nothing before it.
  void expectNext(std::uint64_t id) {
    writer_.send(changeRecord("shop", "articles", kInsert, id));
    EXPECT_EQ(reader_.receive(), changeRecord("shop", "articles", kInsert, id));
  }

  ServerClient reader_ = connectClient();
  ServerClient writer_ = connectClient();
};

class UnknownType : public BadInput, public testing::WithParamInterface<int> {};

TEST_P(UnknownType, ClosesTheConnectionAndWhatCameBeforeItCounts) {
  ServerClient sender = connectClient();
  sender.send({changeRecord("shop", "articles", kInsert, 1),
               record(static_cast<std::uint8_t>(GetParam()), 0, "shop", "articles", kInsert, 2),
               changeRecord("shop", "articles", kInsert, 3)});
  EXPECT_EQ(reader_.receive(), changeRecord("shop", "articles", kInsert, 1));
  sender.waitForEnd();
  expectNext(4);
  EXPECT_EQ(report()["bad_records"], 1);
  EXPECT_EQ(report()["connections_cut"], 1);
  EXPECT_NE(server_.output().find("it sent something that is no record"), std::string::npos) << server_.output();
}

INSTANTIATE_TEST_SUITE_P(Types, UnknownType, testing::Values(3, 127, 128, 255));

TEST_F(BadInput, ChangeWithoutAKnownActionIsIgnoredAndCounted) {
  reader_.registerFor("shop", "articles", 0xff);
  for (const std::uint8_t action : kNoKnownAction)
    writer_.send(changeRecord("shop", "articles", action, 1));
  expectNext(2);
  EXPECT_EQ(report()["bad_records"], std::size(kNoKnownAction));
}

TEST_F(BadInput, ChangeWithAStatusIsIgnoredAndCounted) {
  for (const int status : {1, 2, 255})
    writer_.send(record(MSG_CHANGE, static_cast<std::uint8_t>(status), "shop", "articles", kInsert, 1));
  expectNext(2);
  EXPECT_EQ(report()["bad_records"], 3);
}

TEST_F(BadInput, RegistrationWithoutAKnownActionIsAnsweredWithStatus0AndIgnored) {
  ServerClient client = connectClient();
  for (const std::uint8_t action : kNoKnownAction) {
    client.send(registerRecord("shop", "articles", action, 9));
    EXPECT_EQ(client.receive(), registerRecord("shop", "articles", action, 9));
  }
  writer_.send(changeRecord("shop", "articles", 0xff, 1));
  EXPECT_EQ(reader_.receive(), changeRecord("shop", "articles", 0xff, 1));
  client.registerFor("shop", "articles", kInsert);
  expectNext(2);
  EXPECT_EQ(client.receive(), changeRecord("shop", "articles", kInsert, 2));
  EXPECT_EQ(report()["bad_records"], std::size(kNoKnownAction));
}

TEST_F(BadInput, RegistrationWithAStatusIsAnsweredWithStatus0AndIgnored) {
  ServerClient client = connectClient();
  client.send(record(MSG_REGISTER, 1, "shop", "articles", kAll, 0));
  EXPECT_EQ(client.receive(), record(MSG_REGISTER, 0, "shop", "articles", kAll, 0));
  expectNext(1);
  client.registerFor("shop", "articles", kAll);
  expectNext(2);
  EXPECT_EQ(client.receive(), changeRecord("shop", "articles", kInsert, 2));
}

TEST_F(BadInput, CancelWithAStatusOrWithoutAKnownActionIsIgnoredAndCounted) {
  ServerClient client = connectClient();
  client.registerFor("shop", "articles", kInsert | 8);
  client.send(record(MSG_CANCEL, 1, "shop", "articles", kInsert | 8, 0));
  client.send(cancelRecord("shop", "articles", 8));
  client.registerFor("shop", "end", kAll);
  writer_.send(changeRecord("shop", "articles", kUpdate | 8, 1));
  EXPECT_EQ(reader_.receive(), changeRecord("shop", "articles", kUpdate | 8, 1));
  expectNext(2);
  EXPECT_EQ(client.receive(), changeRecord("shop", "articles", kUpdate | 8, 1));
  EXPECT_EQ(client.receive(), changeRecord("shop", "articles", kInsert, 2));
  EXPECT_EQ(report()["bad_records"], 2);
}

TEST_F(BadInput, RecordInPiecesOfOneByteIsPutTogether) {
  const RecordBytes change = changeRecord("shop", "articles", kInsert, 1);
  for (const unsigned char byte : change)
    writer_.sendBytes(&byte, 1);
  EXPECT_EQ(reader_.receive(), change);
}

TEST_F(BadInput, HalfARecordAndSilenceHoldsNobodyUp) {
  const RecordBytes change = changeRecord("shop", "articles", kInsert, 1);
  ServerClient silent = connectClient();
  silent.sendBytes(change.data(), 70);
  for (std::uint64_t id = 2; id < 100; ++id)
    expectNext(id);
  silent.sendBytes(change.data() + 70, change.size() - 70);
  EXPECT_EQ(reader_.receive(), change);
}

TEST_F(BadInput, HalfARecordBeforeTheEndOfAConnectionIsNoRecord) {
  ServerClient sender = connectClient();
  Bytes bytes = concatenated(changesOf("articles", kInsert, 1, 2));
  sender.sendBytes(bytes.data(), bytes.size() - 1);
  sender.close();
  EXPECT_EQ(reader_.receive(), changeRecord("shop", "articles", kInsert, 1));
  waitForReport([](const auto &report) { return report["connections"].size() == 2; });
  expectNext(3);
}

TEST_F(BadInput, TenThousandConnectsAndClosesLeaveNothingBehind) {
  const std::size_t before = openDescriptors(server_.pid());
  for (int i = 0; i < 10'000; ++i)
    connectClient();
  waitForReport([](const auto &report) { return report["connections"].size() == 2; });
  EXPECT_EQ(openDescriptors(server_.pid()), before);
  expectNext(1);
}

TEST_F(BadInput, ThousandsOfRegistrationsOfConnectionsThatCloseAtOnceLeaveNothingBehind) {
  for (int i = 0; i < 5'000; ++i)
    connectClient().send(registerRecord("shop", "table " + std::to_string(i), kAll, 0));
  waitForReport([](const auto &report) { return report["connections"].size() == 2 && report["keys"] == 1; });
  EXPECT_EQ(report()["registered_keys"], 1);
  expectNext(1);
}

}  // namespace

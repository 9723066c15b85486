// The caps on connections and registered keys, and who may connect at all.
#include <unistd.h>

#include "server/process_state.h"
#include "server/records.h"
#include "server/server_fixture.h"

namespace {

class Limited : public ServerTest {
 protected:
  explicit Limited(std::vector<std::string> options) : ServerTest(withResyncNever(std::move(options))) {}

  bool logs(const std::string &text) const { return server_.output().find(text) != std::string::npos; }

  // Connects, announces a change and registers, all of which is there when the server accepts the connection.
  ServerClient connectWhileStopped() const {
    stopProcess(server_.pid());
    ServerClient client = connectClient();
    client.send({changeRecord("shop", "articles", kInsert, 1), registerRecord("shop", "articles", kAll, 0)});
    resumeProcess(server_.pid());
    return client;
  }

 private:
  static std::vector<std::string> withResyncNever(std::vector<std::string> options) {
    options.push_back("--resync=never");
    return options;
  }
};

// --- connections -----------------------------------------------------------------------------------------------------

struct ConnectionCap {
  const char *name;
  const char *option;
  const char *reason;
};

class ConnectionLimit : public Limited, public testing::WithParamInterface<ConnectionCap> {
 protected:
  ConnectionLimit() : Limited({GetParam().option}) {
    for (ServerClient *client : {&reader_, &another_})
      client->registerFor("shop", "articles", kAll);
  }

  ServerClient reader_ = connectClient();
  ServerClient another_ = connectClient();
};

TEST_P(ConnectionLimit, WhatOneBeyondItAnnouncedIsForwardedAndItsConnectionClosed) {
  for (int i = 0; i < 10; ++i) {
    ServerClient refused = connectWhileStopped();
    EXPECT_EQ(reader_.receive(), changeRecord("shop", "articles", kInsert, 1));
    refused.waitForEnd();
  }
}

TEST_P(ConnectionLimit, OnesBeyondItAreCountedAndLogged) {
  for (int i = 0; i < 3; ++i)
    connectClient().waitForEnd();
  EXPECT_EQ(report()["connections_refused"], 3);
  EXPECT_EQ(report()["connections"].size(), 2);
  EXPECT_TRUE(logs("refused process " + std::to_string(getpid()))) << server_.output();
  EXPECT_TRUE(logs(GetParam().reason)) << server_.output();
}

TEST_P(ConnectionLimit, AnotherIsKeptWhenOneHasGone) {
  another_.close();
  waitForReport([](const auto &report) { return report["connections"].size() == 1; });
  ServerClient next = connectClient();
  next.registerFor("shop", "articles", kAll);
  reader_.send(changeRecord("shop", "articles", kInsert, 1));
  EXPECT_EQ(next.receive(), changeRecord("shop", "articles", kInsert, 1));
}

INSTANTIATE_TEST_SUITE_P(
    Caps, ConnectionLimit,
    testing::Values(ConnectionCap{"Connections", "--max-connections=2", "there are too many connections"},
                    ConnectionCap{"UserConnections", "--max-user-connections=2", "its user has too many connections"}),
    [](const auto &cap) { return cap.param.name; });

// --- who may connect -------------------------------------------------------------------------------------------------

class AllowedUsers : public Limited {
 protected:
  explicit AllowedUsers(uid_t uid = getuid()) : Limited({"--allow-user=" + std::to_string(uid)}) {}
};
class OtherUsersAllowed : public AllowedUsers {
 protected:
  OtherUsersAllowed() : AllowedUsers(getuid() + 1) {}
};

TEST_F(AllowedUsers, AreHeard) {
  ServerClient reader = connectClient();
  reader.registerFor("shop", "articles", kAll);
  const ServerClient client = connectWhileStopped();
  EXPECT_EQ(reader.receive(), changeRecord("shop", "articles", kInsert, 1));
  EXPECT_EQ(report()["records_in"], 3);
}

TEST_F(OtherUsersAllowed, RefusedUserIsNotHeard) {
  connectWhileStopped().waitForEnd();
  EXPECT_EQ(report()["records_in"], 0);
  EXPECT_EQ(report()["connections_refused"], 1);
  EXPECT_TRUE(logs("it is not allowed to connect")) << server_.output();
}

// --- keys ------------------------------------------------------------------------------------------------------------

class ConnectionKeyLimit : public Limited {
 protected:
  ConnectionKeyLimit() : Limited({"--max-connection-keys=2"}) {
    for (const char *table : {"articles", "orders"})
      reader_.registerFor("shop", table, kInsert);
  }

  ServerClient reader_ = connectClient();
  ServerClient writer_ = connectClient();
};

TEST_F(ConnectionKeyLimit, UpToItChangesOfOtherKeysAndActionsAreNotDelivered) {
  writer_.send(changeRecord("shop", "customers", kInsert, 1));
  writer_.send(changeRecord("shop", "articles", kUpdate, 2));
  writer_.send(changeRecord("shop", "articles", kInsert, 3));
  EXPECT_EQ(reader_.receive(), changeRecord("shop", "articles", kInsert, 3));
}

TEST_F(ConnectionKeyLimit, OneMoreKeyIsAnsweredWithStatus1AndThenEveryChangeIsDeliveredOnce) {
  reader_.registerFor("shop", "customers", kInsert);
  const std::vector<RecordBytes> changes{
      changeRecord("shop", "customers", kInsert, 1), changeRecord("shop", "articles", kUpdate, 2),
      changeRecord("shop", "articles", kInsert, 3), changeRecord("elsewhere", "anything", kDelete, 4)};
  writer_.send(changes);
  for (const RecordBytes &change : changes)
    EXPECT_EQ(reader_.receive(), change);
}

TEST_F(ConnectionKeyLimit, WhoWantsEverythingDoesNotHearItsOwnChanges) {
  reader_.registerFor("shop", "customers", kInsert);
  reader_.send(changeRecord("shop", "articles", kInsert, 1));
  reader_.registerFor("shop", "customers", kInsert);
  writer_.send(changeRecord("shop", "articles", kInsert, 2));
  EXPECT_EQ(reader_.receive(), changeRecord("shop", "articles", kInsert, 2));
}

TEST_F(ConnectionKeyLimit, KnownKeyMayBeRegisteredAgain) {
  reader_.registerFor("shop", "orders", kUpdate);
  writer_.send(changeRecord("shop", "articles", kUpdate, 1));
  writer_.send(changeRecord("shop", "orders", kUpdate, 2));
  EXPECT_EQ(reader_.receive(), changeRecord("shop", "orders", kUpdate, 2));
}

TEST_F(ConnectionKeyLimit, AnotherConnectionHasItsOwn) {
  for (const char *table : {"customers", "suppliers"})
    writer_.registerFor("shop", table, kAll);
  reader_.send(changeRecord("shop", "articles", kInsert, 1));
  reader_.send(changeRecord("shop", "customers", kInsert, 2));
  EXPECT_EQ(writer_.receive(), changeRecord("shop", "customers", kInsert, 2));
}

TEST_F(ConnectionKeyLimit, OneThatIsBeyondItIsCountedAndLogged) {
  EXPECT_EQ(report()["connections"][0]["wants_everything"], false);
  EXPECT_EQ(report()["connections_over_keys"], 0);
  writer_.close();
  waitForReport([](const auto &report) { return report["connections"].size() == 1; });
  for (const char *table : {"customers", "suppliers"})
    reader_.registerFor("shop", table, kInsert);
  EXPECT_EQ(report()["connections_over_keys"], 1);
  EXPECT_EQ(report()["connections"][0]["wants_everything"], true);
  EXPECT_EQ(report()["registered_keys"], 2);
  EXPECT_TRUE(logs("process " + std::to_string(getpid()))) << server_.output();
  EXPECT_TRUE(logs("registers more keys than it may")) << server_.output();
}

TEST_F(ConnectionKeyLimit, WhoWantsEverythingAndDoesNotReadItIsClosed) {
  reader_.registerFor("shop", "customers", kInsert);
  ASSERT_TRUE(waitUntil([this] {
    writer_.send(changesOf("anything", kInsert, 1, 200));
    return report()["connections_cut"] == 1;
  }));
  reader_.waitForEnd();
  writer_.registerFor("shop", "end", kAll);
}

class KeyLimit : public Limited {
 protected:
  KeyLimit() : Limited({"--max-keys=3"}) {}
};

TEST_F(KeyLimit, CountsTheKeysOfAllConnections) {
  ServerClient first = connectClient();
  ServerClient second = connectClient();
  ServerClient writer = connectClient();
  for (const char *table : {"articles", "orders"}) {
    first.registerFor("shop", table, kAll);
    second.registerFor("shop", table, kAll);  // the second one of these is the fourth of all
  }
  const std::vector<RecordBytes> changes{changeRecord("shop", "customers", kInsert, 1),
                                         changeRecord("shop", "articles", kInsert, 2)};
  writer.send(changes);
  for (const RecordBytes &change : changes)
    EXPECT_EQ(second.receive(), change);
  EXPECT_EQ(first.receive(), changes.back());
}

TEST_F(KeyLimit, IsFreeAgainWhenAConnectionHasClosed) {
  ServerClient first = connectClient();
  for (const char *table : {"articles", "orders", "customers"})
    first.registerFor("shop", table, kAll);
  first.close();
  waitForReport([](const auto &report) { return report["registered_keys"] == 0; });
  ServerClient second = connectClient();
  ServerClient writer = connectClient();
  second.registerFor("shop", "articles", kAll);
  writer.send(changeRecord("shop", "orders", kInsert, 1));
  writer.send(changeRecord("shop", "articles", kInsert, 2));
  EXPECT_EQ(second.receive(), changeRecord("shop", "articles", kInsert, 2));
}

}  // namespace

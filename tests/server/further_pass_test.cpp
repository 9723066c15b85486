// Whoever registered before a change was written hears of it, whatever the server was doing when either was written
// and in whatever order it comes to read them.
//
// The server is stopped in the middle of its work, at another place each time: others flood it meanwhile, and the
// change's sender has something to be read, so that the server mostly knows it as ready already, but not the reader.
#include <unistd.h>

#include <memory>

#include "server/forked.h"
#include "server/process_state.h"
#include "server/records.h"
#include "server/server_fixture.h"

namespace {

constexpr int kRounds = 100;

class FurtherPass : public ServerTest {
 protected:
  FurtherPass() {
    for (int i = 0; i < 3; ++i) {
      flooders_.emplace_back([this] {
        ServerClient client = connectClient();
        const std::vector<RecordBytes> flood = changesOf("nobody's", kInsert, 1, 100);
        for (;;)
          client.send(flood);
      });
    }
    waitForReport([](const auto &report) { return report["connections"].size() == 3; });
  }

  // `write` is called while the server is stopped. `sender` is what announces the change, null if it is a new one.
  template <typename Write>
  void whileStopped(ServerClient *sender, Write write) {
    if (sender != nullptr) sender->send(changeRecord("shop", "nobody's", kInsert, 1));
    stopProcess(server_.pid());
    write();
    resumeProcess(server_.pid());
  }

  // Takes the answer to a registration that has been sent, and the change that was announced after it.
  void expectHeard(ServerClient &reader, const std::string &table) {
    const RecordBytes answer = acceptance(registerRecord("shop", table, kAll, 0));
    const RecordBytes change = changeRecord("shop", table, kInsert, 1);
    ServerClient another = connectClient();
    ASSERT_EQ(reader.receive(), answer);
    another.send(changeRecord("shop", table, kInsert, 2));  // comes next, should the one before have been missed
    ASSERT_EQ(reader.receive(), change);
    ASSERT_EQ(reader.receive(), changeRecord("shop", table, kInsert, 2));
  }

  void expectHeardInEachRound(ServerClient &reader, ServerClient &sender) {
    for (int round = 0; round < kRounds; ++round) {
      SCOPED_TRACE(round);
      const std::string table = "table " + std::to_string(round);
      whileStopped(&sender, [&] {
        reader.send(registerRecord("shop", table, kAll, 0));
        sender.send(changeRecord("shop", table, kInsert, 1));
      });
      ASSERT_NO_FATAL_FAILURE(expectHeard(reader, table));
    }
  }

 private:
  std::vector<Forked> flooders_;
};

TEST_F(FurtherPass, RegistrationOnAnOlderConnectionIsInTime) {
  ServerClient reader = connectClient();
  ServerClient sender = connectClient();
  expectHeardInEachRound(reader, sender);
}

TEST_F(FurtherPass, RegistrationOnAYoungerConnectionIsInTime) {
  ServerClient sender = connectClient();
  ServerClient reader = connectClient();
  expectHeardInEachRound(reader, sender);
}

TEST_F(FurtherPass, RegistrationOnAConnectionThatIsNotAcceptedYetIsInTime) {
  ServerClient sender = connectClient();
  for (int round = 0; round < kRounds; ++round) {
    SCOPED_TRACE(round);
    std::unique_ptr<ServerClient> reader;
    whileStopped(&sender, [&] {
      reader = std::make_unique<ServerClient>(socketPath());
      reader->send(registerRecord("shop", "articles", kAll, 0));
      sender.send(changeRecord("shop", "articles", kInsert, 1));
    });
    ASSERT_NO_FATAL_FAILURE(expectHeard(*reader, "articles"));
  }
}

TEST_F(FurtherPass, ChangeOfAProcessThatExitsOnceItHasWrittenItIsHeard) {
  for (int round = 0; round < kRounds; ++round) {
    SCOPED_TRACE(round);
    std::unique_ptr<ServerClient> reader;
    whileStopped(nullptr, [&] {
      reader = std::make_unique<ServerClient>(socketPath());
      reader->send(registerRecord("shop", "articles", kAll, 0));
      Forked sender([this] { connectClient().send(changeRecord("shop", "articles", kInsert, 1)); });
      ASSERT_TRUE(sender.waitForEnd());
    });
    ASSERT_NO_FATAL_FAILURE(expectHeard(*reader, "articles"));
  }
}

// The server may give the new connection the descriptor of the one that has closed.
TEST_F(FurtherPass, ChangeOfAConnectionThatHasClosedIsHeardByOneThatTakesItsPlace) {
  for (int round = 0; round < kRounds; ++round) {
    SCOPED_TRACE(round);
    ServerClient sender = connectClient();
    sender.registerFor("shop", "articles", kAll);
    std::unique_ptr<ServerClient> reader;
    whileStopped(&sender, [&] {
      reader = std::make_unique<ServerClient>(socketPath());
      reader->send(registerRecord("shop", "articles", kAll, 0));
      sender.send(changeRecord("shop", "articles", kInsert, 1));
      sender.close();
    });
    ASSERT_NO_FATAL_FAILURE(expectHeard(*reader, "articles"));
  }
}

}  // namespace

// What orvdb_server does when the system gives it no more descriptors.
#include <sys/resource.h>

#include <list>

#include "server/process_state.h"
#include "server/records.h"
#include "server/server_fixture.h"

namespace {

constexpr std::chrono::milliseconds kSpan{2000};

class Descriptors : public ServerTest {
 protected:
  Descriptors() { reader_.registerFor("shop", "articles", kAll); }

  void limitTo(std::size_t count) const { limitDescriptors(server_.pid(), count); }

  // Connects until a connection is refused.
  void exhaust() {
    constexpr std::size_t kLimit = 24;
    limitTo(kLimit);
    for (std::size_t i = 0; i < kLimit; ++i) {
      try {
        ServerClient client = connectClient();
        client.registerFor("shop", "something", kAll);
        crowd_.push_back(std::move(client));
      } catch (const std::exception &) {
        break;
      }
    }
    ASSERT_GT(crowd_.size(), 0U);
    ASSERT_LT(crowd_.size(), kLimit);
  }

  // Announces a change on a connection for which the server has no descriptor left.
  void announceOnRefusedConnection(std::uint64_t id) {
    stopProcess(server_.pid());
    ServerClient refused = connectClient();
    refused.send(changeRecord("shop", "articles", kInsert, id));
    resumeProcess(server_.pid());
    EXPECT_EQ(reader_.receive(), changeRecord("shop", "articles", kInsert, id));
    refused.waitForEnd();
  }

  ServerClient reader_ = connectClient();
  std::list<ServerClient> crowd_;
};

TEST_F(Descriptors, ChangesOfClientsBeyondTheLimitAreForwardedAndTheirConnectionsClosed) {
  ASSERT_NO_FATAL_FAILURE(exhaust());
  for (std::uint64_t id = 1; id <= 20; ++id)
    announceOnRefusedConnection(id);
}

TEST_F(Descriptors, ThoseWhoAreConnectedAreServedBeyondTheLimit) {
  ASSERT_NO_FATAL_FAILURE(exhaust());
  connectClient().waitForEnd();
  crowd_.front().send(changeRecord("shop", "articles", kInsert, 1));
  EXPECT_EQ(reader_.receive(), changeRecord("shop", "articles", kInsert, 1));
}

TEST_F(Descriptors, RefusedConnectionsAreCountedAndLogged) {
  ASSERT_NO_FATAL_FAILURE(exhaust());
  for (int i = 0; i < 5; ++i)
    connectClient().waitForEnd();
  limitTo(1000);
  EXPECT_EQ(report()["connections_refused"], 6);
  EXPECT_EQ(report()["connections"].size(), crowd_.size() + 1);
  EXPECT_NE(server_.output().find("there are no file descriptors left"), std::string::npos) << server_.output();
}

TEST_F(Descriptors, OthersAreKeptAgainWhenSomeHaveGone) {
  ASSERT_NO_FATAL_FAILURE(exhaust());
  connectClient().waitForEnd();
  crowd_.clear();
  EXPECT_TRUE(waitUntil([this] {
    try {
      connectClient().registerFor("shop", "articles", kAll);
      return true;
    } catch (const std::exception &) {
      return false;
    }
  }));
}

// There is not even the reserve.
TEST_F(Descriptors, NothingSpinsWhileNobodyCanBeAcceptedAtAll) {
  limitTo(3);
  ServerClient waiting = connectClient();
  const RecordBytes registration = registerRecord("shop", "articles", kAll, 0);
  waiting.send(registration);
  ASSERT_TRUE(waitUntil([this] { return server_.output().find("can't accept") != std::string::npos; }));

  EXPECT_LT(processorTimeDuring(kSpan, server_.pid()).count(), kSpan.count() / 10);

  limitTo(1000);
  EXPECT_EQ(waiting.receive(), acceptance(registration));
}

TEST_F(Descriptors, NothingSpinsBeyondTheLimit) {
  ASSERT_NO_FATAL_FAILURE(exhaust());
  connectClient().waitForEnd();
  EXPECT_LT(processorTimeDuring(kSpan, server_.pid()).count(), kSpan.count() / 10);
  announceOnRefusedConnection(1);
}

class DescriptorLimit : public ServerProgramTest {};

TEST_F(DescriptorLimit, SoftLimitIsRaisedToTheHardOne) {
  rlimit own{};
  ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &own), 0);
  const rlimit lowered{64, own.rlim_max};
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &lowered), 0);
  Program server = startOnSocket();
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &own), 0);
  rlimit limit{};
  EXPECT_TRUE(waitUntil([&] {
    return prlimit(server.pid(), RLIMIT_NOFILE, nullptr, &limit) == 0 && limit.rlim_cur == own.rlim_max;
  })) << limit.rlim_cur;
}

}  // namespace

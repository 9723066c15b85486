// What orvdb_server does when a client does not read, or when there are too many of them.
#include <sys/resource.h>

#include <list>

#include "server/server_fixture.h"

namespace {

constexpr std::uint8_t kInsert = 1;
constexpr std::uint8_t kAll = 7;

class Overload : public ServerTest {};

TEST_F(Overload, ClientThatDoesNotReadIsClosedAndTheOthersMissNothing) {
  constexpr std::uint64_t kCount = 20000;  // 2.8 MB, more than a socket and a queue hold together
  ServerClient sleeper = connectClient();
  ServerClient reader = connectClient();
  ServerClient writer = connectClient();
  sleeper.registerFor("shop", "articles", kAll);
  reader.registerFor("shop", "articles", kAll);
  for (std::uint64_t id = 0; id < kCount; ++id) {
    writer.send(changeRecord("shop", "articles", kInsert, id));
    ASSERT_EQ(reader.receive(), changeRecord("shop", "articles", kInsert, id));
  }
  const std::string message =
      "process " + std::to_string(getpid()) + " does not read what it registered for, its connection is closed";
  EXPECT_NE(server_.output().find(message), std::string::npos) << server_.output();
  EXPECT_EQ(server_.output().find(message), server_.output().rfind(message)) << server_.output();
  sleeper.waitForEnd();
}

TEST_F(Overload, ClientThatReadsLateGetsAllThatFitsItsQueue) {
  constexpr std::uint64_t kCount = 5000;  // 705 kB: too much for the socket alone
  ServerClient late = connectClient();
  ServerClient reader = connectClient();
  ServerClient writer = connectClient();
  late.registerFor("shop", "articles", kAll);
  reader.registerFor("shop", "articles", kAll);
  for (std::uint64_t id = 0; id < kCount; ++id) {
    writer.send(changeRecord("shop", "articles", kInsert, id));
    ASSERT_EQ(reader.receive(), changeRecord("shop", "articles", kInsert, id));
  }
  for (std::uint64_t id = 0; id < kCount; ++id) {
    ASSERT_EQ(late.receive(), changeRecord("shop", "articles", kInsert, id));
  }
}

TEST_F(Overload, ConnectionsBeyondTheDescriptorLimitAreClosedAndTheOthersServed) {
  const rlimit limit{16, 16};
  ServerClient reader = connectClient();
  reader.registerFor("shop", "articles", kAll);
  ASSERT_EQ(prlimit(server_.pid(), RLIMIT_NOFILE, &limit, nullptr), 0);
  std::list<ServerClient> clients;
  for (rlim_t i = 0; i < limit.rlim_cur; ++i) {
    clients.push_back(connectClient());
  }
  clients.back().waitForEnd();
  EXPECT_NE(server_.output().find("out of file descriptors"), std::string::npos) << server_.output();

  clients.front().send(changeRecord("shop", "articles", kInsert, 1));
  EXPECT_EQ(reader.receive(), changeRecord("shop", "articles", kInsert, 1));
  clients.clear();
  EXPECT_TRUE(waitUntil([this] {
    try {
      connectClient().registerFor("shop", "articles", kAll);
      return true;
    } catch (const std::exception &) {
      return false;
    }
  }));
}

}  // namespace

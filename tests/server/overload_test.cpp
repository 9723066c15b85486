// What orvdb_server does when a client does not read, or when there are too many of them.
#include <sys/resource.h>

#include <list>

#include "server/server_fixture.h"

namespace {

constexpr std::uint8_t kInsert = 1;
constexpr std::uint8_t kAll = 7;

std::vector<RecordBytes> changes(std::uint64_t firstId, std::uint64_t count) {
  std::vector<RecordBytes> records;
  for (std::uint64_t id = firstId; id < firstId + count; ++id) {
    records.push_back(changeRecord("shop", "articles", kInsert, id));
  }
  return records;
}

class Overload : public ServerTest {
 protected:
  Overload() {
    reader_.registerFor("shop", "articles", kAll);
    sleeper_.registerFor("shop", "articles", kAll);
  }

  // Sends changes, many at once, and sees the one client get them all while the other does not read.
  void announce(std::uint64_t count) {
    constexpr std::uint64_t kBatch = 200;
    for (std::uint64_t id = 0; id < count; id += kBatch) {
      const std::vector<RecordBytes> batch = changes(id, kBatch);
      const Bytes bytes = concatenated(batch);
      writer_.sendBytes(bytes.data(), bytes.size());
      for (const RecordBytes &change : batch) {
        ASSERT_EQ(reader_.receive(), change);
      }
    }
  }

  ServerClient reader_ = connectClient();
  ServerClient sleeper_ = connectClient();
  ServerClient writer_ = connectClient();
};

TEST_F(Overload, ClientThatDoesNotReadIsClosedAndTheOthersMissNothing) {
  announce(20000);  // 2.8 MB, more than a socket and a queue hold together
  const std::string message =
      "process " + std::to_string(getpid()) + " does not read what it registered for, its connection is closed";
  EXPECT_NE(server_.output().find(message), std::string::npos) << server_.output();
  EXPECT_EQ(server_.output().find(message), server_.output().rfind(message)) << server_.output();
  sleeper_.waitForEnd();
}

TEST_F(Overload, ClientThatReadsLateGetsAllThatFitsItsQueue) {
  constexpr std::uint64_t kCount = 5000;  // 705 kB: too much for the socket alone
  announce(kCount);
  for (const RecordBytes &change : changes(0, kCount)) {
    ASSERT_EQ(sleeper_.receive(), change);
  }
}

TEST_F(Overload, ConnectionsBeyondTheDescriptorLimitAreClosedAndTheOthersServed) {
  const rlimit limit{16, 16};
  ASSERT_EQ(prlimit(server_.pid(), RLIMIT_NOFILE, &limit, nullptr), 0);
  std::list<ServerClient> clients;
  for (rlim_t i = 0; i < limit.rlim_cur; ++i) {
    clients.push_back(connectClient());
  }
  clients.back().waitForEnd();
  EXPECT_NE(server_.output().find("out of file descriptors"), std::string::npos) << server_.output();

  clients.front().send(changeRecord("shop", "articles", kInsert, 1));
  EXPECT_EQ(reader_.receive(), changeRecord("shop", "articles", kInsert, 1));
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

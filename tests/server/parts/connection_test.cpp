// What one read of a connection takes.
#include "forwarding/connection.h"

#include <sys/syscall.h>

#include <functional>

#include "server/parts/connected_pair.h"

namespace {

std::function<void()> s_afterRead;

}  // namespace

// In place of the system's: a client may write between a read and the next one.
extern "C" ssize_t recv(int socket, void *bytes, size_t size, int flags) {
  const ssize_t count = syscall(SYS_recvfrom, socket, bytes, size, flags, nullptr, nullptr);
  if (s_afterRead) s_afterRead();
  return count;
}

namespace {

class ConnectionReads : public testing::Test {
 protected:
  ~ConnectionReads() override { s_afterRead = nullptr; }

  void send(std::uint64_t id) { pair_.send(changeRecord("shop", "articles", 1, id)); }

  std::vector<std::uint64_t> receiveIds() {
    std::vector<_ORV_DB_MESSAGE> records;
    isOpen_ = connection_.receive(records);
    std::vector<std::uint64_t> ids;
    for (const _ORV_DB_MESSAGE &record : records)
      ids.push_back(record.rowId);
    return ids;
  }

  ConnectedPair pair_;
  Connection connection_{7, std::move(pair_.server), Peer()};
  bool isOpen_ = true;
};

using Ids = std::vector<std::uint64_t>;

TEST_F(ConnectionReads, TakeWhatIsThereAndNotWhatIsAddedMeanwhile) {
  send(1);
  send(2);
  std::uint64_t id = 2;
  s_afterRead = [&] {
    if (id < 1000) send(++id);
  };
  EXPECT_EQ(receiveIds(), (Ids{1, 2}));
  EXPECT_EQ(receiveIds(), (Ids{3}));
  EXPECT_TRUE(isOpen_);
}

TEST_F(ConnectionReads, TakeAllThatIsThereHoweverMuch) {
  constexpr std::uint64_t kCount = 1900;  // more than one read takes
  const Bytes bytes = [] {
    std::vector<RecordBytes> records;
    for (std::uint64_t id = 1; id <= kCount; ++id)
      records.push_back(changeRecord("shop", "articles", 1, id));
    return concatenated(records);
  }();
  const int much = 1 << 21;
  ASSERT_EQ(setsockopt(pair_.client.get(), SOL_SOCKET, SO_SNDBUF, &much, sizeof much), 0);
  ASSERT_EQ(::send(pair_.client.get(), bytes.data(), bytes.size(), MSG_DONTWAIT), static_cast<ssize_t>(bytes.size()));
  EXPECT_EQ(receiveIds().size(), kCount);
}

TEST_F(ConnectionReads, EndComesAfterWhatWasWrittenBeforeIt) {
  send(1);
  pair_.client.reset();
  EXPECT_EQ(receiveIds(), (Ids{1}));
  EXPECT_EQ(receiveIds(), Ids{});
  EXPECT_FALSE(isOpen_);
}

TEST_F(ConnectionReads, PiecesArePutTogether) {
  const RecordBytes change = changeRecord("shop", "articles", 1, 1);
  ASSERT_EQ(::send(pair_.client.get(), change.data(), 100, 0), 100);
  EXPECT_EQ(receiveIds(), Ids{});
  ASSERT_EQ(::send(pair_.client.get(), change.data() + 100, 41, 0), 41);
  send(2);
  EXPECT_EQ(receiveIds(), (Ids{1, 2}));
}

}  // namespace

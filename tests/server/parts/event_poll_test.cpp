#include "system/event_poll.h"

#include <list>
#include <vector>

#include "server/parts/connected_pair.h"

namespace {

class EventPolls : public testing::Test {
 protected:
  void addReady(std::uint64_t source) {
    const ConnectedPair &pair = pairs_.emplace_back();
    pair.send(RecordBytes{});
    EXPECT_TRUE(poll_.add(pair.server.get(), source));
  }

  static std::vector<std::uint64_t> sourcesOf(const EventPoll::Ready &ready) {
    std::vector<std::uint64_t> sources;
    for (const epoll_event &event : ready)
      sources.push_back(event.data.u64);
    return sources;
  }

  EventPoll poll_;
  std::list<ConnectedPair> pairs_;
};

using Sources = std::vector<std::uint64_t>;

TEST_F(EventPolls, AllThatAreReadyComeAtOnce) {
  Sources expected;
  for (std::uint64_t source = 1; source <= 300; ++source) {
    addReady(source);
    expected.push_back(source);
    ASSERT_EQ(sourcesOf(poll_.wait(0)), expected);
  }
}

TEST_F(EventPolls, ReadyOnesStayWhileMoreAreAdded) {
  addReady(1);
  addReady(2);
  const EventPoll::Ready ready = poll_.wait(0);
  for (std::uint64_t source = 3; source <= 300; ++source)
    addReady(source);
  EXPECT_EQ(sourcesOf(ready), (Sources{1, 2}));
}

TEST_F(EventPolls, OneThatIsRemovedOrWaitsForNothingIsNotReady) {
  addReady(1);
  addReady(2);
  addReady(3);
  poll_.remove(pairs_.front().server.get());
  poll_.change(pairs_.back().server.get(), 3, 0);
  EXPECT_EQ(sourcesOf(poll_.wait(0)), Sources{2});
  poll_.change(pairs_.back().server.get(), 3, EPOLLIN);
  EXPECT_EQ(sourcesOf(poll_.wait(0)), (Sources{2, 3}));
}

}  // namespace

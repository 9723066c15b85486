// How long the client waits for a reply and for records, and what ends the waiting.
#include <memory>
#include <mutex>

#include "event_mgr_access.h"
#include "event_support.h"
#include "standin/stand_ins.h"

namespace {

using namespace std::chrono_literals;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr long long kTwoSeconds = 2'000'000'000;

long long nanoseconds(const timespec &time) { return time.tv_sec * 1'000'000'000LL + time.tv_nsec; }

long long realTime() {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  return nanoseconds(now);
}

// The waits for a reply, with the time before and after each deadline was made.
class ReplyWait : public NotificationClient {
 protected:
  struct Deadline {
    long long earliest, deadline, latest;
  };

  // Each result is an error number, 0 for a post.
  void playWaits(const std::vector<int> &results) {
    before_ = realTime();
    standIns.timedWait.play([this, results](sem_t *, const timespec *deadline) {
      EXPECT_LT(deadline->tv_nsec, 1'000'000'000);
      deadlines_.push_back({before_ + kTwoSeconds, nanoseconds(*deadline), realTime() + kTwoSeconds});
      const int result = results.at(deadlines_.size() - 1);
      before_ = realTime();
      return result == 0 ? 0 : failWith(result);
    });
  }

  void expectFreshDeadlines(std::size_t count) const {
    EXPECT_EQ(deadlines_.size(), count);
    for (const Deadline &one : deadlines_) {
      EXPECT_LE(one.earliest, one.deadline);
      EXPECT_LE(one.deadline, one.latest);
    }
  }

  long long before_ = 0;
  std::vector<Deadline> deadlines_;
};

TEST_F(ReplyWait, EndsWhenTwoSecondsOfTheRealTimeClockHavePassed) {
  peer.answerRegistrations(Answer::silence);
  playWaits({ETIMEDOUT});
  EXPECT_EQ(registerItems(1, f), 7);
  expectFreshDeadlines(1);
}

TEST_F(ReplyWait, BeginsAnewAfterAnInterruptionAndAfterAPostOfAnEarlierRegistration) {
  peer.answerRegistrations(Answer::silence);
  playWaits({EINTR, 0, EINTR, 0, ETIMEDOUT});
  EXPECT_EQ(registerItems(1, f), 7);
  expectFreshDeadlines(5);
}

// A clock fails whose time does not fit.
TEST_F(ReplyWait, IsAsLongInYearsThat32BitsDoNotReach) {
  constexpr long long kIn2039 = 2'200'000'000;
  standIns.clock.play([](clockid_t, timespec *now) {
    now->tv_sec = static_cast<time_t>(kIn2039);
    return now->tv_sec == kIn2039 ? 0 : failWith(EOVERFLOW);
  });
  peer.answerRegistrations(Answer::silence);
  playWaits({ETIMEDOUT});
  EXPECT_EQ(registerItems(1, f), 7);
  ASSERT_EQ(deadlines_.size(), 1U);
  EXPECT_EQ(deadlines_[0].deadline, kIn2039 * 1'000'000'000 + kTwoSeconds);
}

TEST_F(ReplyWait, EndsWithAnyOtherError) {
  peer.answerRegistrations(Answer::silence);
  playWaits({EINVAL});
  EXPECT_EQ(registerItems(1, f), 7);
  expectFreshDeadlines(1);
}

class RecordWait : public ::testing::Test {
 protected:
  NotificationPeer peer;
};

TEST_F(RecordWait, PollsTheSocketForDataWithoutTimeOut) {
  struct Seen {
    std::atomic<bool> done{false};
    pollfd entry{};
    nfds_t count = 0;
    int timeout = 0;
  };
  const auto seen = std::make_shared<Seen>();
  standIns.poll.play([seen](pollfd *entries, nfds_t count, int timeout) {
    if (!seen->done) {
      seen->entry = *entries;
      seen->count = count;
      seen->timeout = timeout;
      seen->done = true;
    }
    return __real_poll(entries, count, timeout);
  });
  ASSERT_EQ(orv_db_retry_init(), 0);
  ASSERT_TRUE(waitUntil([&] { return seen->done.load(); }));
  EXPECT_EQ(seen->entry.fd, EventMgr::socket());
  EXPECT_EQ(seen->entry.events, 65);
  EXPECT_EQ(seen->count, 1U);
  EXPECT_EQ(seen->timeout, -1);
}

TEST_F(RecordWait, GoesOnAfterAnInterruption) {
  const auto interruptions = std::make_shared<std::atomic<int>>(0);
  standIns.poll.play([interruptions](pollfd *entries, nfds_t count, int timeout) {
    return ++*interruptions <= 3 ? failWith(EINTR) : __real_poll(entries, count, timeout);
  });
  ASSERT_EQ(orv_db_retry_init(), 0);
  EXPECT_EQ(registerItems(1, f), 0);
  EXPECT_GT(*interruptions, 3);
}

TEST_F(RecordWait, ThatFailsEndsTheThreadForGood) {
  standIns.poll.play([](pollfd *, nfds_t, int) { return failWith(ENOMEM); });
  ASSERT_EQ(orv_db_retry_init(), 0);
  ASSERT_TRUE(waitUntil([] { return EventMgr::exitMarkIsThere(); }));
  EXPECT_FALSE(EventMgr::running());
  EXPECT_EQ(notifyItems(), 12);
  EXPECT_EQ(registerItems(1, f), 12);
  EXPECT_EQ(cancelItems(1), 12);
  EXPECT_EQ(peer.connectionCount(), 1);
}

// A hang-up is found by the read that follows, whatever poll says of it.
TEST_F(RecordWait, DoesNotLookAtTheEventsThatPollReports) {
  standIns.poll.play([](pollfd *entries, nfds_t count, int timeout) {
    const int ready = __real_poll(entries, count, timeout);
    entries->revents = ready > 0 ? POLLHUP | POLLERR : 0;
    return ready;
  });
  ASSERT_EQ(orv_db_retry_init(), 0);
  ASSERT_EQ(registerItems(1, f), 0);
  peer.sendChange(0, kDb, kTable, 1, 4);
  EXPECT_THAT(callLog().waitFor(1), ElementsAre(Call{'f', kDb, kTable, 1, 4}));
}

}  // namespace

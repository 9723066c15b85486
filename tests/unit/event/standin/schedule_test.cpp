// The whole schedule of a recovery, with a sleep that takes no time.
#include <sys/wait.h>
#include <syslog.h>

#include <memory>
#include <mutex>

#include "event_mgr_access.h"
#include "event_support.h"
#include "standin/stand_ins.h"
#include "support/system_log.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

// What the message thread does: sleeps, in nanoseconds, and attempts to connect. Shared with the scripts.
class Schedule {
 public:
  void addSleep(const timespec &pause) {
    const std::lock_guard<std::mutex> adding(mutex_);
    sleeps_.push_back(pause.tv_sec * kSecond + pause.tv_nsec);
  }
  std::vector<long long> takeSleeps() {
    const std::lock_guard<std::mutex> taking(mutex_);
    return std::exchange(sleeps_, {});
  }
  // The number of this one, from 1 on.
  int addAttempt() { return ++attempts_; }
  int attempts() const { return attempts_; }

  static constexpr long long kSecond = 1'000'000'000;

 private:
  std::mutex mutex_;
  std::vector<long long> sleeps_;
  std::atomic<int> attempts_{0};
};

std::vector<long long> seconds(std::vector<long long> all) {
  for (long long &one : all)
    one *= Schedule::kSecond;
  return all;
}

class RecoverySchedule : public NotificationClient {
 protected:
  RecoverySchedule() {
    playSleep([](int, timespec *) { return 0; });
    standIns.connect.play([schedule = schedule](int fd, const sockaddr *address, socklen_t length) {
      schedule->addAttempt();
      return __real_connect(fd, address, length);
    });
  }

  // `script` is given the number of the sleep, from 1 on, and where to put what is left of it.
  void playSleep(std::function<int(int, timespec *)> script) {
    standIns.sleep.play(
        [schedule = schedule, script, number = std::make_shared<int>(0)](const timespec *pause, timespec *left) {
          schedule->addSleep(*pause);
          return script(++*number, left);
        });
  }
  static void waitUntilThreadEnds() {
    ASSERT_TRUE(waitUntil([] { return !EventMgr::running(); }));
  }

  std::shared_ptr<Schedule> schedule = std::make_shared<Schedule>();
};

TEST(RecoveryDelay, DoublesWithEveryAttemptAndEndsAtZero) {
  EXPECT_EQ(recoveryDelaySeconds(0), 1U);
  EXPECT_EQ(recoveryDelaySeconds(1), 2U);
  EXPECT_EQ(recoveryDelaySeconds(10), 1024U);
  EXPECT_EQ(recoveryDelaySeconds(31), 0x80000000U);
  EXPECT_EQ(recoveryDelaySeconds(32), 0U);
  EXPECT_EQ(recoveryDelaySeconds(33), 0U);
}

TEST_F(RecoverySchedule, HasElevenAttemptsAndThenEndsForGood) {
  ASSERT_EQ(registerItems(1, f), 0);
  peer.stop();
  waitUntilThreadEnds();
  EXPECT_EQ(schedule->takeSleeps(), seconds({1, 2, 4, 8, 16, 32, 64, 128, 256, 512, 1024}));
  EXPECT_EQ(schedule->attempts(), 11);

  EXPECT_FALSE(EventMgr::needsInit());
  peer.restart();
  EXPECT_EQ(notifyItems(), 12);
  EXPECT_EQ(registerItems(2, g), 12);
  EXPECT_EQ(cancelItems(1), 12);
  // The start once succeeded, so it counts as in place.
  EXPECT_EQ(orv_db_retry_init(), 0);
  EXPECT_EQ(notifyItems(), 12);
  EXPECT_EQ(peer.connectionCount(), 1);
}

TEST_F(RecoverySchedule, EndsWithoutALogLine) {
  SystemLog log;
  peer.stop();
  waitUntilThreadEnds();
  EXPECT_EQ(schedule->attempts(), 11);
  EXPECT_THAT(log.texts(), IsEmpty());
  syslog(LOG_INFO, "written");
  EXPECT_THAT(log.texts(), ElementsAre("written"));
}

TEST_F(RecoverySchedule, ChildStartsItsOwnClientAfterTheParentGaveUp) {
  peer.stop();
  waitUntilThreadEnds();
  peer.restart();
  const pid_t child = fork();
  if (child == 0) _exit(notifyItems(3) == 0 ? 0 : 1);
  EXPECT_EQ(peer.waitForConnection(1), child);
  EXPECT_THAT(bytesOf(peer.waitForRecords(1)), ElementsAre(itemsChange(1, 3)));
  int status = -1;
  waitpid(child, &status, 0);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(notifyItems(), 12);
}

TEST_F(RecoverySchedule, EndsWithTheFirstAttemptThatSucceedsAndBeginsAnewAfterTheNextLoss) {
  standIns.connect.play([schedule = schedule](int fd, const sockaddr *address, socklen_t length) {
    return schedule->addAttempt() < 4 ? failWith(ECONNREFUSED) : __real_connect(fd, address, length);
  });
  peer.closeConnection(0);
  peer.waitForConnection(1);
  callsFor({}, 1);
  EXPECT_EQ(schedule->takeSleeps(), seconds({1, 2, 4, 8}));

  peer.closeConnection(1);
  peer.waitForConnection(2);
  callsFor({}, 2);
  EXPECT_EQ(schedule->takeSleeps(), seconds({1}));
}

TEST_F(RecoverySchedule, LastAttemptCounts) {
  standIns.connect.play([schedule = schedule](int fd, const sockaddr *address, socklen_t length) {
    return schedule->addAttempt() < 11 ? failWith(ECONNREFUSED) : __real_connect(fd, address, length);
  });
  peer.closeConnection(0);
  peer.waitForConnection(1);
  EXPECT_THAT(callsFor({}, 1), IsEmpty());
}

TEST_F(RecoverySchedule, InterruptedSleepGoesOnWithTheRemainder) {
  playSleep([](int number, timespec *left) {
    if (number > 2) return 0;
    *left = {0, 600'000'000 / number};
    return failWith(EINTR);
  });
  peer.closeConnection(0);
  peer.waitForConnection(1);
  callsFor({}, 1);
  EXPECT_THAT(schedule->takeSleeps(), ElementsAre(Schedule::kSecond, 600'000'000, 300'000'000));
  EXPECT_EQ(schedule->attempts(), 1);
}

TEST_F(RecoverySchedule, SleepThatFailsOtherwiseIsRepeatedWithoutAnAttempt) {
  playSleep([](int number, timespec *) { return number == 1 || number == 3 ? failWith(EINVAL) : 0; });
  standIns.connect.play([schedule = schedule](int fd, const sockaddr *address, socklen_t length) {
    return schedule->addAttempt() < 2 ? failWith(ECONNREFUSED) : __real_connect(fd, address, length);
  });
  peer.closeConnection(0);
  peer.waitForConnection(1);
  callsFor({}, 1);
  EXPECT_EQ(schedule->takeSleeps(), seconds({1, 1, 2, 2}));
  EXPECT_EQ(schedule->attempts(), 2);
}

TEST_F(RecoverySchedule, StopDuringASleepEndsItWithoutAnAttempt) {
  playSleep([](int, timespec *left) {
    EventMgr::setRunning(false);
    *left = {0, 500'000'000};
    return failWith(EINTR);
  });
  peer.closeConnection(0);
  waitUntilThreadEnds();
  ASSERT_TRUE(waitUntil([] { return EventMgr::exitMarkIsThere(); }));
  EXPECT_EQ(schedule->takeSleeps(), seconds({1}));
  EXPECT_EQ(schedule->attempts(), 0);
}

TEST_F(RecoverySchedule, StopDuringAnAttemptIsFollowedByNoOther) {
  standIns.connect.play([schedule = schedule](int, const sockaddr *, socklen_t) {
    schedule->addAttempt();
    EventMgr::setRunning(false);
    return failWith(ECONNREFUSED);
  });
  peer.closeConnection(0);
  ASSERT_TRUE(waitUntil([] { return EventMgr::exitMarkIsThere(); }));
  EXPECT_EQ(schedule->attempts(), 1);
}

TEST_F(RecoverySchedule, WalkOfTheRegistryStopsAtTheFirstRecordThatIsNotWrittenWhole) {
  ASSERT_EQ(registerItems(1, f), 0);
  ASSERT_EQ(orv_db_register_callback("zoo", "animals", ORV_DB_ACTION_INSERT, nullptr, 0, g), 0);
  recordsSent();
  // The second record of the replay is cut short, once.
  const auto writes = std::make_shared<std::atomic<int>>(0);
  standIns.write.play([writes](int fd, const void *bytes, size_t length) -> ssize_t {
    const int number = ++*writes;
    if (number == 2) return __real_write(fd, bytes, 100);
    return number == 3 ? failWith(EIO) : __real_write(fd, bytes, length);
  });
  peer.closeConnection(0);
  EXPECT_THAT(bytesOf(peer.waitForRecords(1)), ElementsAre(registerRecord("last", "last", 7, 0)));
  EXPECT_THAT(callsFor({}, 1), IsEmpty());
  EXPECT_EQ(*writes, 3);
  EXPECT_THAT(recordsSent(), IsEmpty());

  // The connection is in use until its read fails. Then everything is replayed.
  peer.closeConnection(1);
  EXPECT_THAT(bytesOf(peer.waitForRecords(3)),
              ElementsAre(registerRecord("last", "last", 7, 0), registerRecord(kDb, kTable, 1, 0),
                          registerRecord("zoo", "animals", 1, 0)));
}

}  // namespace

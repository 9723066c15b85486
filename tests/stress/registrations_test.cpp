// Eight threads register and cancel, again and again, while changes of all their tables pour in and other threads
// announce.
#include <atomic>
#include <deque>
#include <iostream>
#include <map>
#include <mutex>
#include <thread>

#include "support/connected_peer.h"
#include "support/count.h"
#include "support/watchdog.h"

namespace {

constexpr int kRegistrants = 8;
constexpr int kAnnouncers = 4;
constexpr char kDb[] = "storm";
constexpr char kSteady[] = "steady";
constexpr unsigned long long kMostUnheard = 500;  // of the changes that have been sent
// By each announcer for one change of every table. The peer tells the test of each announcement, and of all of them
// before it answers: without a limit a slow one is never done.
constexpr unsigned long long kMostAnnounced = 10;

std::string tableOf(int registrant) { return "own_" + std::to_string(registrant); }

// What one registration has heard. The changes of its table are numbered without a gap.
struct Heard {
  std::atomic<unsigned long long> first{0};
  std::atomic<unsigned long long> last{0};
  std::atomic<int> count{0};
  std::atomic<int> gaps{0};
};

void hear(const char *, const char *, _orv_db_action_t, unsigned long long row, void *data) {
  Heard &heard = *static_cast<Heard *>(data);
  if (heard.count == 0) heard.first = row;
  if (heard.count > 0 && row != heard.last + 1) ++heard.gaps;
  heard.last = row;
  ++heard.count;
}

// A callback may still run when its registration has been cancelled, so what it writes to stays.
Heard &newHeard() {
  static auto &all = *new std::deque<Heard>;
  static std::mutex mutex;
  const std::lock_guard<std::mutex> adding(mutex);
  return all.emplace_back();
}

class RegistrationStorm : public testing::Test {
 protected:
  static int rounds() { return countFromEnvironment("ORVDB_ROUNDS", 24); }

  // Registers, hears changes without a gap, cancels, and hears no more than the one that was being delivered.
  void registerAndCancel(WatchedThread &here, const std::string &table, unsigned long long &lastHeard) {
    here.at("register");
    Heard &heard = newHeard();
    ASSERT_EQ(orv_db_register_callback(kDb, table.c_str(), ORV_DB_ACTION_ALL, &heard, 0, hear), ORV_DB_OK);
    here.at("waiting for changes");
    EXPECT_TRUE(waitUntil([&] { return heard.count >= 3; }));
    here.at("cancel");
    EXPECT_EQ(orv_db_cancel_callback(kDb, table.c_str(), ORV_DB_ACTION_ALL), ORV_DB_OK);
    const int atCancel = heard.count;
    here.at("waiting for changes of others");
    const unsigned long long steady = steady_.last;
    EXPECT_TRUE(waitUntil([&] { return steady_.last >= steady + 10; }));
    EXPECT_LE(heard.count, atCancel + 1);
    EXPECT_EQ(heard.gaps, 0);
    EXPECT_GT(heard.first, lastHeard) << "heard twice";
    lastHeard = heard.last;
  }

  void announce(WatchedThread &here, int announcer, unsigned long long number) {
    here.at("announce");
    const std::string table = "announced_" + std::to_string(announcer);
    EXPECT_EQ(orv_db_notify_change(kDb, table.c_str(), ORV_DB_ACTION_INSERT, number), ORV_DB_OK);
  }

  // One change of every table, all with the same number, in one write.
  void pour(unsigned long long number) {
    std::vector<RecordBytes> records;
    for (int i = 0; i < kRegistrants; ++i)
      records.push_back(changeRecord(kDb, tableOf(i), ORV_DB_ACTION_UPDATE, number));
    records.push_back(changeRecord(kDb, kSteady, ORV_DB_ACTION_UPDATE, number));
    peer_.sendBytes(0, concatenated(records));
    EXPECT_TRUE(waitUntil([&] { return steady_.last + kMostUnheard >= number; }));
  }

  // Each announcer's numbers, in their order.
  std::map<std::string, std::vector<unsigned long long>> announced() {
    std::map<std::string, std::vector<unsigned long long>> numbers;
    for (const PeerRecord &record : peer_.remainingRecords()) {
      if (record.message().type == MSG_CHANGE) numbers[record.message().table].push_back(record.message().rowId);
    }
    return numbers;
  }

  ConnectedPeer peer_;
  Heard steady_;
};

}  // namespace

TEST_F(RegistrationStorm, LosesNoChangeAndDeliversNoneTwice) {
  ASSERT_EQ(orv_db_register_callback(kDb, kSteady, ORV_DB_ACTION_ALL, &steady_, 0, hear), ORV_DB_OK);
  Watchdog watchdog;
  std::atomic<int> registering{kRegistrants};
  std::atomic<bool> enough{false};
  std::atomic<unsigned long long> poured{0};
  std::vector<unsigned long long> announcedBy(kAnnouncers);
  std::vector<std::thread> threads;
  for (int i = 0; i < kRegistrants; ++i) {
    threads.emplace_back([&, i] {
      WatchedThread here(watchdog, "registrant " + std::to_string(i));
      unsigned long long lastHeard = 0;
      for (int round = 0; round < rounds(); ++round)
        registerAndCancel(here, tableOf(i), lastHeard);
      --registering;
    });
  }
  for (int i = 0; i < kAnnouncers; ++i) {
    threads.emplace_back([&, i] {
      WatchedThread here(watchdog, "announcer " + std::to_string(i));
      unsigned long long number = 0;
      for (; !enough; std::this_thread::sleep_for(std::chrono::microseconds(100))) {
        if (number < kMostAnnounced * poured) announce(here, i, ++number);
      }
      announcedBy[static_cast<std::size_t>(i)] = number;
    });
  }
  while (registering > 0)
    pour(++poured);
  enough = true;
  for (std::thread &thread : threads)
    thread.join();

  EXPECT_TRUE(waitUntil([&] { return steady_.last == poured; }));
  EXPECT_EQ(steady_.first, 1U);
  EXPECT_EQ(steady_.gaps, 0);
  EXPECT_EQ(steady_.count, static_cast<int>(poured));
  const auto numbers = announced();
  ASSERT_EQ(numbers.size(), static_cast<std::size_t>(kAnnouncers));
  std::size_t announcer = 0;
  for (const auto &[table, ofOne] : numbers) {
    ASSERT_EQ(ofOne.size(), announcedBy[announcer++]) << table;
    for (std::size_t i = 0; i < ofOne.size(); ++i)
      ASSERT_EQ(ofOne[i], i + 1) << table;
  }
  std::cout << "figures: " << kRegistrants * rounds() << " registrations and cancellations beside "
            << poured * (kRegistrants + 1) << " changes" << std::endl;
}

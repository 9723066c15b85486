// A reader, or the notification server, is stopped for a while and goes on.
#include <signal.h>

#include <algorithm>
#include <iostream>
#include <numeric>

#include "event/message.h"
#include "restart/restart_fixture.h"
#include "support/count.h"
#include "support/resident_memory.h"

namespace {

constexpr int kReaders = 8;
constexpr int kWriters = 4;
constexpr int kAnnouncements = 10'000;  // of each writer: many times what a socket and a queue hold
constexpr std::uint64_t kQueueLimit = 256 * 1024;
// A sanitizer keeps memory that has been given back, and more.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr double kMostGrowthBytes = 512 * 1024 * 1024;
#else
constexpr double kMostGrowthBytes = 16 * 1024 * 1024;
#endif

class StoppedReader : public RestartTest {
 protected:
  // Changes a second of all writers, which announce as fast as they can and then end.
  long announceAtFullSpeed() {
    std::list<Program> writers;
    for (int i = 0; i < kWriters; ++i) {
      writers.push_back(launch(
          ORVDB_CACHE_WRITER, {std::getenv("ORVDB_TEST_MARIADB"), db(), "--announce", std::to_string(kAnnouncements)}));
    }
    return std::accumulate(writers.begin(), writers.end(), 0L, [](long sum, Program &writer) {
      EXPECT_EQ(writer.waitForExit(), 0) << writer.output();
      return sum + std::stol(writer.output());
    });
  }
};

long median(std::vector<long> values) {
  std::nth_element(values.begin(), values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2), values.end());
  return values[values.size() / 2];
}

TEST_F(StoppedReader, WritersFinishMemoryIsBoundedAndItsCopyIsRightInTheEnd) {
  startServer();
  startReaders(kReaders);
  const double before = residentBytes(server().pid());
  readers_.front().program.signal(SIGSTOP);
  announceAtFullSpeed();
  startWriters(kWriters);
  waitForInserts(100);
  endWriters();

  const ServerStatus status = serverStatus();
  EXPECT_GE(status.number("overflows"), 1U);
  EXPECT_LE(status.number("largest_queue_bytes"), kQueueLimit + sizeof(_ORV_DB_MESSAGE));
  EXPECT_LE(status.number("queued_bytes"), kQueueLimit + sizeof(_ORV_DB_MESSAGE));
  const double grown = residentBytes(server().pid()) - before;
  EXPECT_LE(grown, kMostGrowthBytes);
  std::cout << "largest queue " << status.number("largest_queue_bytes") << " bytes, the server has grown by "
            << grown / 1024 << " KiB\n";

  readers_.front().program.signal(SIGCONT);
  EXPECT_EQ(wrongCopies(), 0U);
}

// The figures are for whoever runs script/restart-test: a busy machine may give any.
TEST_F(StoppedReader, SpeedOfWritersIsMeasuredWithItAndWithoutIt) {
  startServer();
  startReaders(kReaders);
  std::vector<long> running;
  std::vector<long> stopped;
  for (int i = 0; i < countFromEnvironment("ORVDB_LOADS", 1); ++i) {
    running.push_back(announceAtFullSpeed());
    readers_.front().program.signal(SIGSTOP);
    stopped.push_back(announceAtFullSpeed());
    readers_.front().program.signal(SIGCONT);
  }
  std::cout << "announced a second: " << median(running) << " with all readers running, " << median(stopped)
            << " with one stopped\n";
  EXPECT_EQ(wrongCopies(), 0U);
}

class StoppedServer : public RestartTest {
 protected:
  static constexpr int kHeard = 0;
  static constexpr int kNotAnswered = 3;

  // The exit status of a process that registers while the server is stopped, before another one announces a change and
  // ends. That one makes its connection then, too, or is busy with it before, so that the server may be stopped when it
  // is about to read it.
  int hearWhileStopped(bool isWriterBusy) {
    std::optional<Program> writer;
    if (isWriterBusy) {
      writer.emplace(launch(ORVDB_ANNOUNCES_ONCE, {db(), "t", "--busy"}));
      writer->waitForOutput("ready");
    }
    server().signal(SIGSTOP);
    Program reader = launch(ORVDB_HEARS_ONCE, {db(), "t"});
    reader.waitForOutput("sent");
    if (isWriterBusy) {
      writer->signal(SIGUSR1);
    } else {
      writer.emplace(launch(ORVDB_ANNOUNCES_ONCE, {db(), "t"}));
    }
    // One that has filled its socket ends only when the server goes on.
    waitUntil([&] { return !writer->isRunning(); }, std::chrono::seconds(1));
    server().signal(SIGCONT);
    EXPECT_EQ(writer->waitForExit(), 0);
    return reader.waitForExit();
  }
};

TEST_F(StoppedServer, ChangeThatWasWrittenAfterTheRegistrationIsHeard) {
  const int rounds = countFromEnvironment("ORVDB_STOPS", 100);
  // Nobody is told of whole tables: only the change itself is heard.
  startServer({"--resync=never"});
  int late = 0;
  for (int round = 0; round < rounds; ++round) {
    // A registration is given up after two seconds, which a busy machine may need for the rest.
    int status = hearWhileStopped(round % 2 == 0);
    for (; status == kNotAnswered && late < rounds; ++late)
      status = hearWhileStopped(round % 2 == 0);
    ASSERT_EQ(status, kHeard) << "round " << round;
  }
  std::cout << rounds << " changes announced while the server was stopped, all heard; repeated " << late << '\n';
}

}  // namespace

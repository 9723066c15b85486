// A writer never waits for a reader or for the server.
//
// A write that waits is seen from what follows: the test itself writes, and would not go on.
#include <sys/resource.h>
#include <unistd.h>

#include <list>

#include "server/process_state.h"
#include "server/records.h"
#include "server/server_fixture.h"

namespace {

constexpr std::chrono::milliseconds kSpan{2000};

class Overload : public ServerTest {
 protected:
  Overload() { reader_.registerFor("shop", "articles", kAll); }

  // Many times what the sockets and queues on the way hold.
  void announceMuch() {
    constexpr std::uint64_t kBatch = 200;
    for (std::uint64_t id = 1; id < 20000; id += kBatch) {
      const std::vector<RecordBytes> batch = changesOf("articles", kInsert, id, kBatch);
      writer_.send(batch);
      for (const RecordBytes &change : batch) {
        ASSERT_EQ(reader_.receive(), change);
      }
    }
  }

  ServerClient reader_ = connectClient();
  ServerClient writer_ = connectClient();
};

TEST_F(Overload, ReaderThatDoesNotReadHoldsNobodyUp) {
  ServerClient sleeper = connectClient();
  sleeper.registerFor("shop", "articles", kAll);
  announceMuch();
}

TEST_F(Overload, WriterThatDoesNotReadWhatItRegisteredForGoesOnWriting) {
  writer_.registerFor("shop", "orders", kAll);
  ServerClient another = connectClient();
  another.registerFor("shop", "end", kAll);
  for (int i = 0; i < 100; ++i)
    another.send(changesOf("orders", kInsert, 1, 200));
  announceMuch();
}

TEST_F(Overload, ReaderOfTheStatusThatDoesNotReadHoldsNobodyUp) {
  constexpr std::size_t kCrowd = 1500;  // whose report is more than a socket holds
  const rlimit enough{2 * kCrowd, 2 * kCrowd};
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &enough), 0);
  std::list<ServerClient> crowd;
  for (std::size_t i = 0; i < kCrowd; ++i)
    crowd.push_back(connectClient());
  waitForReport([](const auto &report) { return report["connections"].size() >= kCrowd; });
  std::list<ServerClient> statusReaders;
  for (int i = 0; i < 5; ++i)
    statusReaders.emplace_back(statusPath());
  announceMuch();
}

TEST_F(Overload, NothingSpinsBesideAReaderThatDoesNotRead) {
  ServerClient sleeper = connectClient();
  sleeper.registerFor("shop", "articles", kAll);
  announceMuch();
  EXPECT_LT(processorTimeDuring(kSpan, server_.pid()).count(), kSpan.count() / 10);
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

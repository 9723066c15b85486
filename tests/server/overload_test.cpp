// A writer never waits for a reader or for the server.
//
// A write that waits is seen from what follows: the test itself writes, and would not go on.
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

TEST_F(Overload, NothingSpinsBesideAReaderThatDoesNotRead) {
  ServerClient sleeper = connectClient();
  sleeper.registerFor("shop", "articles", kAll);
  announceMuch();
  EXPECT_LT(processorTimeDuring(kSpan, server_.pid()).count(), kSpan.count() / 10);
}

}  // namespace

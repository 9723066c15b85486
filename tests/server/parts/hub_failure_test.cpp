// What the hub does when the system can't send, and whom it tells that something was missed.
#include <sys/socket.h>

#include <cerrno>

#include "server/parts/hub_fixture.h"

// A socket for which the system has no room, and what it says then; and one that takes a record at a time.
namespace {
int s_unsendable = -1;
int s_reason = 0;
int s_sluggish = -1;
}  // namespace

extern "C" ssize_t __real_sendmsg(int socket, const msghdr *message, int flags);
extern "C" ssize_t __wrap_sendmsg(int socket, const msghdr *message, int flags) {
  if (socket == s_unsendable) {
    errno = s_reason;
    return -1;
  }
  if (socket != s_sluggish) return __real_sendmsg(socket, message, flags);
  const iovec *segment = message->msg_iov;
  while (segment->iov_len == 0)
    ++segment;
  return send(socket, segment->iov_base, std::min(segment->iov_len, sizeof(_ORV_DB_MESSAGE)), flags);
}

namespace {

const Bytes kAnswer = concatenated({acceptance(kRegistration)});
const Bytes kWholeTable = concatenated({changeRecord("shop", "articles", 1, 0), changeRecord("shop", "articles", 2, 0),
                                        changeRecord("shop", "articles", 4, 0)});

bool hasEnded(const ConnectedPair &pair) {
  char byte;
  return recv(pair.client.get(), &byte, 1, MSG_DONTWAIT) == 0;
}

class HubOfYoungProcesses : public HubTest {
 protected:
  HubOfYoungProcesses() : HubTest(ResyncMode::kAuto) {}

  ConnectionId welcomeReader(ConnectedPair &reader, pid_t pid) {
    reader.send(kRegistration);
    const ConnectionId id = welcome(std::move(reader.server), young(pid));
    pass();
    return id;
  }
};

constexpr pid_t kFirst = 4242;
constexpr pid_t kSecond = 4243;

class HubThatCannotSend : public HubOfYoungProcesses, public testing::WithParamInterface<int> {
 protected:
  ~HubThatCannotSend() override { s_unsendable = -1; }

  void failFor(int socket) {
    s_reason = GetParam();
    s_unsendable = socket;
  }
};

TEST_P(HubThatCannotSend, CutsTheReaderForWhichThereIsNoRoomAndTellsItsProcessLater) {
  ConnectedPair reader;
  ConnectedPair other;
  ConnectedPair writer;
  const int readersSocket = reader.server.get();
  const ConnectionId readersId = welcomeReader(reader, kFirst);
  welcomeReader(other, kSecond);
  welcome(std::move(writer.server), young(kSecond));
  writer.send(kChange);
  pass();
  pass();
  ASSERT_EQ(reader.take(), answerAndChange());
  ASSERT_EQ(other.take(), answerAndChange());
  ASSERT_FALSE(hasEnded(reader));
  ASSERT_EQ(hub_.counters().cut, 0U);

  failFor(readersSocket);
  writer.send(kChange);
  pass();
  pass();
  EXPECT_EQ(other.take(), concatenated({kChange}));
  EXPECT_TRUE(hasEnded(reader));
  EXPECT_EQ(hub_.connections().count(readersId), 0U);
  EXPECT_EQ(hub_.counters().cut, 1U);

  s_unsendable = -1;
  ConnectedPair again;
  ConnectedPair nobodyElse;
  welcomeReader(again, kFirst);
  welcomeReader(nobodyElse, kSecond);
  Bytes answerAndWholeTable = kAnswer;
  answerAndWholeTable.insert(answerAndWholeTable.end(), kWholeTable.begin(), kWholeTable.end());
  EXPECT_EQ(again.take(), answerAndWholeTable);
  EXPECT_EQ(nobodyElse.take(), kAnswer);
}

INSTANTIATE_TEST_SUITE_P(Reason, HubThatCannotSend, testing::Values(ENOBUFS, ENOMEM));

// The server's own write comes first, and fails.
TEST_F(HubOfYoungProcesses, ClientThatHasGoneIsHeardThoughAWriteToItFailedBefore) {
  ConnectedPair reader;
  ConnectedPair writer;
  ConnectedPair gone;
  welcomeReader(reader, kFirst);
  const ConnectionId goneId = welcomeReader(gone, kSecond);
  const ConnectionId writerId = welcome(std::move(writer.server), young(kSecond));
  ASSERT_EQ(reader.take(), kAnswer);
  ASSERT_EQ(gone.take(), kAnswer);
  writer.send(kChange);
  pass();
  const RecordBytes last = changeRecord("shop", "articles", 2, 6);
  gone.send(last);
  gone.client.reset();
  hub_.beginPass();
  hub_.serve(writerId, EPOLLIN);
  hub_.endPass();
  ASSERT_EQ(hub_.counters().recordsOut, 2U) << "one of them to nobody";
  ASSERT_EQ(hub_.queuedBytes(), 0U);
  EXPECT_EQ(reader.take(), concatenated({kChange}));

  pass();
  pass();
  EXPECT_EQ(reader.take(), concatenated({last}));
  EXPECT_EQ(hub_.connections().count(goneId), 0U);
  EXPECT_EQ(hub_.counters().cut, 0U);
}

constexpr std::size_t kRoom = 100;    // records, of which changes in transit may take half
constexpr std::size_t kBurst = 24;    // fits there twice
constexpr std::size_t kWrites = 8;    // of a connection's share of a turn
constexpr std::size_t kTooMany = 40;  // with what the greedy reader has not taken by then

// Any reader may register a single key. One that registers more wants everything.
class HubWithLittleRoom : public HubTest {
 protected:
  explicit HubWithLittleRoom(std::size_t queueRecords = kRoom)
      : HubTest(ResyncMode::kNever, {queueRecords * sizeof(_ORV_DB_MESSAGE), kRoom * sizeof(_ORV_DB_MESSAGE), 1, 100}) {
  }
  ~HubWithLittleRoom() override { s_unsendable = s_sluggish = -1; }

  static void announce(const ConnectedPair &writer, std::size_t changes) {
    for (std::size_t i = 0; i < changes; ++i)
      writer.send(kChange);
  }
};

// The last changes of a client that is closed take the room of one that is in the midst of being written to.
TEST_F(HubWithLittleRoom, ReaderThatIsEndedWhileAnotherIsClosedIsNotWrittenToAnyMore) {
  ConnectedPair greedy;
  ConnectedPair closing;
  ConnectedPair writer;
  s_sluggish = greedy.server.get();
  const int closingSocket = closing.server.get();
  welcome(std::move(greedy.server));
  welcome(std::move(writer.server));
  const ConnectionId closingId = welcome(std::move(closing.server));
  greedy.send(kRegistration);
  greedy.send(registerRecord("shop", "others", 7, 0));
  pass();
  for (int i = 0; i < 5; ++i) {
    announce(writer, kBurst);
    pass();
  }
  ASSERT_EQ(hub_.queuedBytes(), 4 * (kBurst - kWrites) * sizeof(_ORV_DB_MESSAGE));
  ASSERT_EQ(hub_.counters().cut, 0U);

  s_unsendable = closingSocket;
  s_reason = ENOBUFS;
  closing.send(registerRecord("shop", "orders", 7, 0));
  hub_.beginPass();
  hub_.serve(closingId, EPOLLIN);
  announce(closing, kTooMany);
  hub_.endPass();
  EXPECT_EQ(hub_.counters().cut, 2U);
  EXPECT_TRUE(hasEnded(closing));
  EXPECT_EQ(hub_.connections().size(), 1U);
  EXPECT_EQ(hub_.queuedBytes(), 0U);
  for (int i = 0; i < 3; ++i)
    pass();
  EXPECT_FALSE(hub_.isBusy());
}

class HubWithShortQueues : public HubWithLittleRoom {
 protected:
  HubWithShortQueues() : HubWithLittleRoom(1) {}
};

TEST_F(HubWithShortQueues, ReaderThatCannotBeSentToIsNotCountedAmongThoseThatDoNotRead) {
  ConnectedPair reader;
  ConnectedPair writer;
  const int readersSocket = reader.server.get();
  reader.send(kRegistration);
  welcome(std::move(reader.server));
  welcome(std::move(writer.server));
  pass();
  ASSERT_EQ(reader.take(), kAnswer);
  s_unsendable = readersSocket;
  s_reason = ENOBUFS;
  announce(writer, 2);
  pass();
  pass();
  EXPECT_TRUE(hasEnded(reader));
  EXPECT_EQ(hub_.counters().cut, 1U);
  EXPECT_EQ(hub_.counters().overflows, 0U);
  EXPECT_EQ(hub_.queuedBytes(), 0U);
}

// Not by the next look at the clock, but by the one after that.
TEST_F(HubOfYoungProcesses, EverybodyIsToldOnRequest) {
  ConnectedPair reader;
  ConnectedPair another;
  welcomeReader(reader, kFirst);
  welcomeReader(another, kSecond);
  const auto look = [&] {
    hub_.tick(start_);
    pass();
  };
  for (int i = 0; i < 3; ++i)
    look();
  ASSERT_EQ(reader.take(), kAnswer);
  ASSERT_EQ(another.take(), kAnswer);
  hub_.requestResync();
  look();
  EXPECT_EQ(reader.take(), Bytes());
  look();
  EXPECT_EQ(reader.take(), kWholeTable);
  EXPECT_EQ(another.take(), kWholeTable);
  look();
  EXPECT_EQ(reader.take(), Bytes());
}

}  // namespace

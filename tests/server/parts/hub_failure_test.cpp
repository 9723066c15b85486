// What the hub does when the system can't send, and whom it tells that something was missed.
#include <sys/socket.h>

#include <cerrno>

#include "server/parts/hub_fixture.h"

// A socket for which the system has no room, and what it says then.
namespace {
int s_unsendable = -1;
int s_reason = 0;
}  // namespace

extern "C" ssize_t __real_sendmsg(int socket, const msghdr *message, int flags);
extern "C" ssize_t __wrap_sendmsg(int socket, const msghdr *message, int flags) {
  if (socket != s_unsendable) return __real_sendmsg(socket, message, flags);
  errno = s_reason;
  return -1;
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

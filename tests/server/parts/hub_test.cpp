// The hub between its passes, at moments that a client can't choose.
#include "forwarding/hub.h"

#include "server/parts/connected_pair.h"

namespace {

std::size_t s_randomBytes = 0;

}  // namespace

// In place of the system's.
extern "C" ssize_t getrandom(void *bytes, size_t size, unsigned int) {
  std::memset(bytes, 0x5a, size);
  s_randomBytes += size;
  return static_cast<ssize_t>(size);
}

namespace {

const RecordBytes kRegistration = registerRecord("shop", "articles", 7, 0);
const RecordBytes kChange = changeRecord("shop", "articles", 1, 5);

class HubTest : public testing::Test {
 protected:
  // Returns the connection's id.
  ConnectionId welcome(Descriptor socket) {
    Peer peer;
    peer.pid = getpid();
    hub_.welcome(std::move(socket), peer);
    return nextId_++;
  }

  void pass() {
    hub_.beginPass();
    for (const epoll_event &event : poll_.wait(0))
      hub_.serve(event.data.u64, event.events);
    hub_.endPass();
  }

  EventPoll poll_;
  Log log_{false};
  Hub hub_{Limits(), Resync(ResyncMode::kNever, 0, Clock::now()), poll_, log_};
  ConnectionId nextId_ = EventPoll::kFirstConnection;
};

Bytes answerAndChange() { return concatenated({acceptance(kRegistration), kChange}); }

// The pass asked what is ready before either was written: it comes upon the change, and not upon the registration.
TEST_F(HubTest, ChangeThatIsReadBeforeARegistrationThatWasWrittenFirstIsHeard) {
  ConnectedPair reader;
  ConnectedPair writer;
  welcome(std::move(reader.server));
  const ConnectionId writerId = welcome(std::move(writer.server));
  hub_.beginPass();
  reader.send(kRegistration);
  writer.send(kChange);
  hub_.serve(writerId, EPOLLIN);
  hub_.endPass();
  pass();
  EXPECT_EQ(reader.take(), answerAndChange());
}

// The reader waited to be accepted when the pass began that read the change.
TEST_F(HubTest, ChangeThatIsReadBeforeTheReaderIsAcceptedIsHeard) {
  ConnectedPair reader;
  ConnectedPair writer;
  const ConnectionId writerId = welcome(std::move(writer.server));
  reader.send(kRegistration);
  writer.send(kChange);
  hub_.beginPass();
  hub_.serve(writerId, EPOLLIN);
  hub_.endPass();
  hub_.beginPass();
  welcome(std::move(reader.server));
  hub_.endPass();
  EXPECT_EQ(reader.take(), answerAndChange());
}

TEST_F(HubTest, RegistrationAfterTheChangeHasBeenFannedOutIsTooLate) {
  ConnectedPair reader;
  ConnectedPair writer;
  welcome(std::move(reader.server));
  welcome(std::move(writer.server));
  writer.send(kChange);
  pass();
  pass();
  EXPECT_FALSE(hub_.isBusy());
  reader.send(kRegistration);
  pass();
  pass();
  const RecordBytes answer = acceptance(kRegistration);
  EXPECT_EQ(reader.take(), Bytes(answer.begin(), answer.end()));
}

// A sender is a connection, not a descriptor: the reader gets the number that the sender had, whose connection ends
// with the pass that reads the change.
TEST_F(HubTest, ReaderThatTakesTheDescriptorOfTheSenderHearsItsChange) {
  ConnectedPair reader;
  ConnectedPair writer;
  const int number = writer.server.get();
  welcome(std::move(writer.server));
  reader.send(kRegistration);
  writer.send(kChange);
  writer.send(record(9, 0, "", "", 0, 0));
  pass();
  hub_.beginPass();
  Descriptor sameNumber(fcntl(reader.server.get(), F_DUPFD_CLOEXEC, number));
  ASSERT_EQ(sameNumber.get(), number);
  welcome(std::move(sameNumber));
  hub_.endPass();
  EXPECT_EQ(reader.take(), answerAndChange());
}

TEST_F(HubTest, HashIsSeededWithRandomNumbersOfTheSystem) {
  const std::size_t before = s_randomBytes;
  const Hub another(Limits(), Resync(ResyncMode::kNever, 0, Clock::now()), poll_, log_);
  EXPECT_EQ(s_randomBytes, before + sizeof(SipKey));
}

TEST_F(HubTest, ConnectionsOfAUserAreCountedWhileTheyLast) {
  ConnectedPair first;
  ConnectedPair second;
  Peer peer;
  peer.uid = 42;
  hub_.welcome(std::move(first.server), peer);
  hub_.welcome(std::move(second.server), peer);
  EXPECT_EQ(hub_.connectionsOf(42), 2U);
  EXPECT_EQ(hub_.connectionsOf(43), 0U);
  first.client.reset();
  pass();
  EXPECT_EQ(hub_.connectionsOf(42), 1U);
}

}  // namespace

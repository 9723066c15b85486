// The hub between its passes, at moments that a client can't choose.
#include "forwarding/hub.h"

#include "server/parts/hub_fixture.h"

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

// A client that repeats its registrations reads nothing meanwhile, and has perhaps one for each action of a table.
TEST_F(HubTest, ClientMayLeaveUnreadAsManyRepliesAsItHoldsRegistrations) {
  ConnectedPair reader;
  const ConnectionId id = welcome(std::move(reader.server));
  for (int table = 0; table < 1000; ++table) {
    for (const int action : {1, 2, 4})
      reader.send(registerRecord("shop", std::to_string(table), static_cast<std::uint8_t>(action), 0));
    pass();
  }
  ASSERT_EQ(hub_.connections().count(id), 1U);
  EXPECT_GT(hub_.connections().at(id)->outbox().ackCount(), 2000U);

  // Repeated without end, they are held only once more each, up to a limit.
  for (int i = 0; i < 3000; ++i) {
    reader.send(registerRecord("shop", "0", 1, 0));
    pass();
    if (hub_.connections().count(id) == 0) break;
  }
  EXPECT_EQ(hub_.connections().count(id), 0U);
  EXPECT_EQ(hub_.counters().cut, 1U);
}

TEST_F(HubTest, RefusedClientsWritesFailAfterItHasBeenHeardOut) {
  ConnectedPair reader;
  ConnectedPair refused;
  welcome(std::move(reader.server));
  reader.send(kRegistration);
  pass();
  for (int i = 0; i < 200; ++i)
    refused.send(kChange);
  hub_.refuse(std::move(refused.server), Peer(), Hub::Hearing::kHeard);
  EXPECT_EQ(::send(refused.client.get(), kChange.data(), kChange.size(), MSG_NOSIGNAL), -1);
  EXPECT_EQ(errno, EPIPE);
  pass();
  pass();
  EXPECT_EQ(reader.take().size(), 201 * kChange.size());
}

TEST_F(HubTest, RefusedClientIsHeardUpToTheFirstThatIsNoRecord) {
  ConnectedPair reader;
  ConnectedPair refused;
  welcome(std::move(reader.server));
  reader.send(kRegistration);
  pass();
  refused.send(kChange);
  refused.send(record(9, 0, "", "", 0, 0));
  refused.send(kChange);
  hub_.refuse(std::move(refused.server), Peer(), Hub::Hearing::kHeard);
  pass();
  pass();
  EXPECT_EQ(reader.take(), answerAndChange());
  EXPECT_EQ(hub_.counters().bad, 1U);
}

// What a client writes between the last read and its end counts: the write has succeeded.
TEST_F(HubTest, ClientThatIsCutIsHeardOut) {
  ConnectedPair reader;
  ConnectedPair writer;
  welcome(std::move(reader.server));
  const ConnectionId id = welcome(std::move(writer.server));
  reader.send(kRegistration);
  pass();
  while (hub_.counters().cut == 0) {
    hub_.beginPass();
    writer.send(registerRecord("shop", "", 1, 0));
    hub_.serve(id, EPOLLIN);
    writer.send(kChange);
    hub_.endPass();
    if (hub_.counters().cut == 0) pass();
  }
  while (hub_.isBusy())
    pass();
  const std::uint64_t changes = hub_.counters().recordsOut;
  std::size_t heard = 0;
  for (Bytes bytes; !(bytes = reader.take()).empty(); pass())
    heard += bytes.size();
  EXPECT_EQ(heard, (1 + changes) * kChange.size());
  EXPECT_EQ(hub_.counters().recordsIn, 1 + 2 * changes);
}

// More than the queue may hold, though not more than queue and socket together.
TEST_F(HubTest, BurstWithinOnePassCollapsesNobodyWhoseSocketHasRoom) {
  ConnectedPair reader;
  welcome(std::move(reader.server));
  reader.send(kRegistration);
  pass();
  std::vector<ConnectedPair> writers(10);
  for (ConnectedPair &writer : writers) {
    for (int i = 0; i < 200; ++i)
      writer.send(kChange);
    welcome(std::move(writer.server));
  }
  std::size_t heard = 0;
  for (int i = 0; i < 20; ++i) {
    pass();
    if (i > 1) heard += reader.take().size();
  }
  EXPECT_EQ(hub_.counters().overflows, 0U);
  EXPECT_EQ(heard, 2001 * kChange.size());
}

// So that a turn stays short, whatever was read in it.
TEST_F(HubTest, FanOutOfManyDeliveriesTakesSeveralTurnsAndKeepsTheOrder) {
  std::vector<ConnectedPair> readers(100);
  for (ConnectedPair &reader : readers) {
    reader.send(kRegistration);
    welcome(std::move(reader.server));
  }
  ConnectedPair writer;
  for (std::uint64_t id = 0; id < 250; ++id)
    writer.send(changeRecord("shop", "articles", 1, id));
  welcome(std::move(writer.server));
  pass();
  const std::uint64_t first = hub_.counters().recordsOut;
  EXPECT_GT(first, 0U);
  EXPECT_LT(first, 25'000U);
  EXPECT_TRUE(hub_.isBusy());
  while (hub_.isBusy())
    pass();
  EXPECT_EQ(hub_.counters().recordsOut, 25'000U);
  Bytes expected = concatenated({acceptance(kRegistration)});
  for (std::uint64_t id = 0; id < 250; ++id) {
    const RecordBytes change = changeRecord("shop", "articles", 1, id);
    expected.insert(expected.end(), change.begin(), change.end());
  }
  for (const ConnectedPair &reader : readers)
    ASSERT_EQ(reader.take(), expected);
}

// One that the system has no room to watch: epoll takes no regular file.
TEST_F(HubTest, ConnectionThatCannotBeWatchedIsRefusedAndTheOthersServed) {
  ConnectedPair reader;
  welcome(std::move(reader.server));
  reader.send(kRegistration);
  pass();
  hub_.welcome(Descriptor(open("/proc/self/exe", O_RDONLY | O_CLOEXEC)), Peer());
  EXPECT_EQ(hub_.counters().refused, 1U);
  EXPECT_EQ(hub_.connections().size(), 1U);
  ConnectedPair writer;
  writer.send(kChange);
  hub_.refuse(std::move(writer.server), Peer(), Hub::Hearing::kHeard);
  pass();
  pass();
  EXPECT_EQ(reader.take(), answerAndChange());
}

}  // namespace

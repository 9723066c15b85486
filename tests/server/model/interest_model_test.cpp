// Does the server's view of what a connection wants always cover what the client wants? The client is the library's own
// code. ORVDB_MODEL_ROUNDS says how many random histories there are, ORVDB_MODEL_OPERATIONS how many operations more
// the exhaustive ones have.
#include <gtest/gtest.h>

#include <cstdlib>
#include <random>

#include "server/model/split_client.h"
#include "server/model/views.h"

namespace {

using Operation = SplitClient::Operation;
using Choice = std::function<std::size_t(std::size_t)>;

Operation registration(int mask, int callback = 0) { return {false, mask, callback}; }
Operation cancellation(int mask) { return {true, mask}; }

std::size_t numberFrom(const char *variable, std::size_t usual) {
  const char *wanted = std::getenv(variable);
  return wanted != nullptr ? std::strtoul(wanted, nullptr, 10) : usual;
}

std::string keyOfTable(int table) { return std::string("shop") + '\0' + SplitClient::tableName(table); }

// A client and what a server thinks of it.
class Session {
 public:
  Session(SplitClient &client, View &view) : m_client(client), m_view(view) {
    m_client.restart([this](const _ORV_DB_MESSAGE &record) { m_view.take(record); });
  }
  ~Session() { m_client.restart({}); }

  void begin(std::size_t thread, const Operation &operation) {
    m_history += " [" + std::to_string(thread) + (operation.isCancellation ? " cancel " : " register ") +
                 std::to_string(operation.mask) + " callback " + std::to_string(operation.callback) + " table " +
                 std::to_string(operation.table) + "]";
    m_client.begin(thread, operation);
    check();
  }
  void advance(std::size_t thread) {
    m_history += " [" + std::to_string(thread) + " goes on]";
    m_client.advance(thread);
    check();
  }
  void perform(const Operation &operation, std::size_t thread = 0) {
    begin(thread, operation);
    while (!m_client.isIdle(thread))
      advance(thread);
  }

  int actions() const { return m_view.actions(keyOfTable(0)); }
  bool hasLost() const { return !m_loss.empty(); }
  const std::string &loss() const { return m_loss; }

 private:
  void check() {
    for (int table = 0; table < 2 && !hasLost(); ++table) {
      if ((SplitClient::actions(table) & 0xff & ~m_view.actions(keyOfTable(table))) != 0) m_loss = m_history;
    }
  }

  SplitClient &m_client;
  View &m_view;
  std::string m_history;
  std::string m_loss;
};

// --- histories that are chosen step by step --------------------------------------------------------------------------

struct Kind {
  std::size_t operations;
  std::vector<Operation> alphabet;
};

// All operations of masks up to `mostMask`, with these callbacks: two different ones, 0 and 1; always 0, of which the
// earlier registration is kept; or always 2, of which the later one is.
std::vector<Operation> alphabetUpTo(int mostMask, const std::vector<int> &callbacks = {0, 1}) {
  std::vector<Operation> all;
  for (int mask = 1; mask <= mostMask; ++mask) {
    all.push_back(cancellation(mask));
    for (const int callback : callbacks)
      all.push_back(registration(mask, callback));
  }
  return all;
}

// Any thread that is under way may go on, and the first idle one may begin something.
void play(Session &session, SplitClient &client, const Kind &kind, const Choice &choose) {
  std::vector<std::size_t> steps;
  for (std::size_t left = kind.operations; (left > 0 || !client.isIdle()) && !session.hasLost();) {
    std::size_t idle = client.threadCount();
    steps.clear();
    for (std::size_t thread = 0; thread < client.threadCount(); ++thread) {
      if (!client.isIdle(thread)) steps.push_back(thread);
      if (client.isIdle(thread) && idle == client.threadCount()) idle = thread;
    }
    const std::size_t beginnings = left > 0 && idle < client.threadCount() ? kind.alphabet.size() : 0;
    const std::size_t chosen = choose(steps.size() + beginnings);
    if (chosen < steps.size()) {
      session.advance(steps[chosen]);
    } else if (const Operation &operation = kind.alphabet[chosen - steps.size()];
               operation.isCancellation || client.canRegister()) {
      session.begin(idle, operation);
      --left;
    } else {
      --left;  // it would only wait
    }
  }
  while (!client.isIdle()) {
    for (std::size_t thread = 0; thread < client.threadCount(); ++thread) {
      if (!client.isIdle(thread)) client.advance(thread);
    }
  }
}

// Every history there is: each time the last choice that has another alternative takes it.
class AllChoices {
 public:
  std::size_t operator()(std::size_t count) {
    if (m_next == m_made.size()) m_made.push_back({0, count});
    return m_made[m_next++].chosen;
  }
  bool goOn() {
    m_next = 0;
    while (!m_made.empty() && m_made.back().chosen + 1 == m_made.back().count)
      m_made.pop_back();
    if (m_made.empty()) return false;
    ++m_made.back().chosen;
    return true;
  }

 private:
  struct Made {
    std::size_t chosen;
    std::size_t count;
  };
  std::vector<Made> m_made;
  std::size_t m_next = 0;
};

struct Result {
  std::size_t histories = 0;
  std::string loss;
};

template <class AnyView>
Result playAll(std::size_t threads, Kind kind) {
  kind.operations += numberFrom("ORVDB_MODEL_OPERATIONS", 0);
  SplitClient client(threads);
  AllChoices choices;
  Result result;
  do {
    AnyView view;
    Session session(client, view);
    play(session, client, kind, std::ref(choices));
    result.loss = session.loss();
    ++result.histories;
  } while (result.loss.empty() && choices.goOn());
  return result;
}

template <class AnyView>
std::string playRandomly(std::size_t threads, std::size_t operations, std::size_t rounds) {
  Kind kind{operations, alphabetUpTo(7)};
  for (int mask : {1, 2, 3, 4, 7, 9, 0x83})
    kind.alphabet.insert(kind.alphabet.end(),
                         {{false, mask, 2}, {false, mask, 0, 1}, {true, mask, 0, 1}, cancellation(mask | 0x40)});
  SplitClient client(threads);
  std::mt19937_64 random(operations);
  for (; rounds > 0; --rounds) {
    AnyView view;
    Session session(client, view);
    play(session, client, kind, [&](std::size_t count) { return static_cast<std::size_t>(random() % count); });
    if (session.hasLost()) return session.loss();
  }
  return {};
}

// --- single histories ------------------------------------------------------------------------------------------------

// With the same callback and no user data a client keeps the earlier entry as it is.
void keepAndCancel(Session &session) {
  session.perform(registration(1));
  session.perform(registration(2));
  session.perform(registration(1));
  session.perform(cancellation(3));
}

void cancelWhileAnotherThreadCancelsAndRegisters(Session &session) {
  session.perform(registration(3));
  session.begin(1, cancellation(1));  // dropped, and not sent yet
  session.perform(cancellation(3));
  session.perform(registration(1));
  session.advance(1);
}

void registerWhileAnotherThreadRegistersAndCancels(Session &session) {
  session.begin(1, registration(1, 1));
  session.advance(1);  // acknowledged, and not inserted yet
  session.perform(registration(3));
  session.perform(cancellation(1));
  session.advance(1);
  session.perform(cancellation(3));
}

template <class AnyView>
bool loses(void (*history)(Session &)) {
  SplitClient client(2);
  AnyView view;
  Session session(client, view);
  history(session);
  return session.hasLost();
}

TEST(ServersView, CoversAClientThatKeepsAnEarlierRegistration) {
  EXPECT_FALSE(loses<ServersView>(keepAndCancel));
  EXPECT_TRUE(loses<MirrorView>(keepAndCancel));
}

TEST(ServersView, CoversAClientWhoseCancellationIsOvertakenByOneOfMoreBits) {
  EXPECT_FALSE(loses<ServersView>(cancelWhileAnotherThreadCancelsAndRegisters));
  EXPECT_TRUE(loses<SingleMaskView>(cancelWhileAnotherThreadCancelsAndRegisters));
}

TEST(ServersView, CoversAClientWhoseRegistrationsAreInsertedInAnotherOrder) {
  EXPECT_FALSE(loses<ServersView>(registerWhileAnotherThreadRegistersAndCancels));
  EXPECT_TRUE(loses<SingleMaskView>(registerWhileAnotherThreadRegistersAndCancels));
}

class SingleThread : public ::testing::Test {
 protected:
  SplitClient client_{1};
  ServersView view_;
  Session session_{client_, view_};
};

TEST_F(SingleThread, RegisteringAndCancellingTheSameLeavesNothingHoweverOften) {
  for (int i = 0; i < 100; ++i) {
    for (const int mask : {7, 7, 7}) {
      session_.perform(registration(mask));
      EXPECT_EQ(session_.actions(), mask);
      session_.perform(cancellation(mask));
      EXPECT_EQ(session_.actions(), 0);
    }
  }
  EXPECT_EQ(session_.loss(), "");
}

TEST_F(SingleThread, CancelTakesItsBitsFromTheOnlyRegistration) {
  session_.perform(registration(7));
  session_.perform(cancellation(5));
  EXPECT_EQ(session_.actions(), 2);
  session_.perform(cancellation(2));
  EXPECT_EQ(session_.actions(), 0);
}

TEST_F(SingleThread, CancelOfOneBitTakesItFromOneRegistration) {
  session_.perform(registration(1, 0));
  session_.perform(registration(3, 1));
  session_.perform(cancellation(1));
  EXPECT_EQ(session_.actions(), 3);
  session_.perform(registration(1, 0));
  session_.perform(cancellation(1));
  EXPECT_EQ(session_.actions(), 3);
  EXPECT_EQ(session_.loss(), "");
}

TEST_F(SingleThread, SixtyFourRegistrationsOfAKeyAreCancelledOneByOne) {
  for (int i = 0; i < 64; ++i)
    session_.perform(registration(1, i % 2));
  for (int i = 0; i < 64; ++i) {
    EXPECT_EQ(session_.actions(), 1);
    view_.cancel(keyOfTable(0), 1);
  }
  EXPECT_EQ(session_.actions(), 0);
}

TEST_F(SingleThread, SixtyFifthRegistrationOfAKeyMakesThemOneThatNoCancellationReduces) {
  for (int i = 0; i < 64; ++i)
    session_.perform(registration(1 + i % 2, i % 2));
  session_.perform(registration(4));
  EXPECT_EQ(session_.actions(), 7);
  for (int i = 0; i < 100; ++i) {
    for (const int mask : {1, 2, 4, 7})
      view_.cancel(keyOfTable(0), static_cast<std::uint8_t>(mask));
  }
  EXPECT_EQ(session_.actions(), 7);
  session_.perform(registration(8 + 1));
  EXPECT_EQ(session_.actions(), 15);
  EXPECT_EQ(session_.loss(), "");
}

// --- all histories, and random ones ----------------------------------------------------------------------------------

class AllHistories : public ::testing::Test {
 protected:
  void expectCovered(std::size_t threads, const Kind &kind, std::size_t historiesAtLeast) {
    const Result result = playAll<ServersView>(threads, kind);
    EXPECT_EQ(result.loss, "");
    EXPECT_GE(result.histories, historiesAtLeast);
  }
};

TEST_F(AllHistories, OfOneThreadAreCovered) {
  expectCovered(1, {3, alphabetUpTo(7)}, 21U * 21 * 21);
  expectCovered(1, {4, alphabetUpTo(3)}, 9U * 9 * 9 * 9);
  expectCovered(1, {5, alphabetUpTo(3, {0})}, 6U * 6 * 6 * 6 * 6);
  expectCovered(1, {5, alphabetUpTo(3, {2})}, 6U * 6 * 6 * 6 * 6);
}

TEST_F(AllHistories, OfTwoThreadsAreCovered) {
  expectCovered(2, {3, alphabetUpTo(3)}, 9U * 9 * 9);
  expectCovered(2, {4, alphabetUpTo(3, {0})}, 6U * 6 * 6 * 6);
  expectCovered(2, {4, alphabetUpTo(3, {2})}, 6U * 6 * 6 * 6);
}

TEST_F(AllHistories, OfThreeThreadsAreCovered) { expectCovered(3, {3, alphabetUpTo(3)}, 9U * 9 * 9); }

// So many histories are needed to see what other ways of keeping them lose.
TEST_F(AllHistories, AreNotCoveredInOtherWays) {
  EXPECT_NE(playAll<MirrorView>(1, {4, alphabetUpTo(3, {0})}).loss, "");
  EXPECT_NE(playAll<FirstMaskView>(2, {4, alphabetUpTo(3, {2})}).loss, "");
  EXPECT_NE(playAll<SingleMaskView>(2, {4, alphabetUpTo(3, {2})}).loss, "");
}

class RandomHistories : public ::testing::TestWithParam<std::size_t> {};

TEST_P(RandomHistories, AreCoveredByTheServersView) {
  const std::size_t rounds = numberFrom("ORVDB_MODEL_ROUNDS", 5000);
  EXPECT_EQ(playRandomly<ServersView>(GetParam(), 8, rounds), "");
  EXPECT_EQ(playRandomly<ServersView>(GetParam(), 20, rounds), "");
  EXPECT_EQ(playRandomly<ServersView>(GetParam(), 400, rounds / 50), "");
}

TEST_P(RandomHistories, AreNotCoveredByAMirror) { EXPECT_NE(playRandomly<MirrorView>(GetParam(), 20, 5000), ""); }

INSTANTIATE_TEST_SUITE_P(Threads, RandomHistories, ::testing::Values(1, 2, 3));

TEST(RandomHistoriesOfTwoThreads, AreNotCoveredWhenACancellationTakesAllItsBitsFromTheFirstMask) {
  EXPECT_NE(playRandomly<FirstMaskView>(2, 20, 5000), "");
}

}  // namespace

#include <signal.h>

#include <algorithm>
#include <fstream>
#include <iterator>

#include "examples/example_fixture.h"

namespace {

using Processes = std::vector<pid_t>;

constexpr char kOpenOrders[] = "SELECT COUNT(*) FROM orders WHERE total IS NULL";

class WorkerPool : public ExampleTest {
 protected:
  Program startPool() { return start(ORVDB_WORKER_POOL, {"3"}); }

  void order(int count) {
    for (int pieces = 1; pieces <= count; ++pieces)
      insert("orders", rowOf({{"pieces", std::to_string(pieces)}, {"price", "7"}}));
  }

  testing::AssertionResult allAreComputed() {
    if (!waitForValue(kOpenOrders, "0")) return testing::AssertionFailure() << "some have no total";
    const std::string wrong = admin().value("SELECT COUNT(*) FROM orders WHERE total != 7 * pieces");
    return wrong == "0" ? testing::AssertionSuccess() : testing::AssertionFailure() << wrong << " are wrong";
  }
};

Processes workersOf(const Program &pool) {
  const std::string process = std::to_string(pool.pid());
  std::ifstream children("/proc/" + process + "/task/" + process + "/children");
  return {std::istream_iterator<pid_t>(children), {}};
}

TEST_F(WorkerPool, ComputesWhatWasThereAndWhatIsAnnounced) {
  startServer();
  order(30);
  const Program pool = startPool();
  EXPECT_TRUE(allAreComputed());
  ASSERT_TRUE(waitForRegistrations(3));
  order(30);
  EXPECT_TRUE(allAreComputed());
}

TEST_F(WorkerPool, EachWorkerHasAHandleAndARegistrationOfItsOwnAndTheParentsIsLeftAlone) {
  startServer();
  Program pool = startPool();
  ASSERT_TRUE(waitForRegistrations(3));
  EXPECT_EQ(connectionIds().size(), 4U);
  order(3);
  EXPECT_TRUE(allAreComputed());
  pool.signal(SIGTERM);
  EXPECT_EQ(pool.waitForExit(), 0);
  // Which it counts by the handle that it had when it forked.
  EXPECT_EQ(pool.output(), "orders without total: 0\n");
  EXPECT_TRUE(waitForRegistrations(0));
}

TEST_F(WorkerPool, WorkerThatWasKilledIsReplaced) {
  startServer();
  Program pool = startPool();
  ASSERT_TRUE(waitForRegistrations(3));
  const Processes before = workersOf(pool);
  ASSERT_EQ(before.size(), 3U);
  kill(before[1], SIGKILL);
  EXPECT_TRUE(waitUntil([&] {
    const Processes now = workersOf(pool);
    return now.size() == 3 && std::find(now.begin(), now.end(), before[1]) == now.end();
  }));
  order(30);
  EXPECT_TRUE(allAreComputed());
}

TEST_F(WorkerPool, WorkersForkedWithoutANotificationServerRegisterWhenThereIsOne) {
  Program pool = startPool();
  ASSERT_TRUE(waitUntil([&] { return workersOf(pool).size() == 3; }));
  admin().query("INSERT INTO orders (pieces, price) VALUES (1, 7), (2, 7), (3, 7)");
  EXPECT_TRUE(allAreComputed());
  startServer();
  ASSERT_TRUE(waitForRegistrations(3));
  order(3);
  EXPECT_TRUE(allAreComputed());
}

TEST_F(WorkerPool, NoWorkerOutlivesThePool) {
  startServer();
  Program pool = startPool();
  ASSERT_TRUE(waitForRegistrations(3));
  pool.signal(SIGKILL);
  pool.waitForExit();
  EXPECT_TRUE(waitForRegistrations(0));
  EXPECT_TRUE(waitUntil([&] { return connectionIds().empty(); }));
}

}  // namespace

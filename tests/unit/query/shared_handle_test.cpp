// Threads that share a handle, and threads that have each their own.
#include <functional>
#include <thread>

#include "query/statement.h"
#include "unit/query/query_fixture.h"

namespace {

class Threads : public QueryTest {
 protected:
  // Runs each of the functions on a thread of its own.
  static void together(const std::vector<std::function<void()>> &functions) {
    std::vector<std::thread> threads;
    for (const auto &function : functions)
      threads.emplace_back(function);
    for (std::thread &thread : threads)
      thread.join();
  }
};

constexpr int kRounds = 200;

TEST_F(Threads, ThatFailOnASharedHandleNeverMakeAnothersQueryFail) {
  const auto succeed = [this] {
    for (int round = 0; round < kRounds; ++round)
      ASSERT_EQ(raw("DO 1").status, 0U);
  };
  const auto fail = [this] {
    for (int round = 0; round < kRounds; ++round)
      ASSERT_EQ(raw("nonsense").status, 1U);
  };
  together({succeed, fail, succeed, fail});
}

TEST_F(Threads, OfRawQueriesOnASharedHandleGetEachTheirOwnRows) {
  std::vector<std::function<void()>> readers;
  for (int number = 0; number < 6; ++number) {
    readers.emplace_back([this, number] {
      for (int round = 0; round < kRounds / 2; ++round) {
        const QueryAnswer answer = raw("SELECT " + std::to_string(number));
        ASSERT_EQ(answer.status, 0U);
        ASSERT_EQ(orv_db_result_step(answer.rows.get()), 9U);
        ASSERT_EQ(intOf(answer.rows.get()), number);
      }
    });
  }
  together(readers);
}

// Closing a statement sends a packet too.
TEST_F(Threads, RunAndCloseStatementsOnASharedHandleInTurn) {
  admin().query("CREATE TABLE t (a INT) ENGINE=MEMORY");
  std::vector<std::function<void()>> writers;
  for (int number = 0; number < 6; ++number) {
    writers.emplace_back([this, number] {
      const _orv_db_param_t param = intParam(number);
      for (int round = 0; round < kRounds; ++round) {
        MYSQL_STMT *stmt = nullptr;
        ASSERT_EQ(run_statement(handle(), "INSERT INTO t VALUES (?)", &param, 1, &stmt), 0) << orv_db_get_error_str();
        const executed_statement executed(handle(), stmt);
        ASSERT_EQ(mysql_stmt_affected_rows(stmt), 1U);
      }
    });
  }
  together(writers);
  EXPECT_EQ(admin().value("SELECT COUNT(*) FROM t"), std::to_string(6 * kRounds));
  EXPECT_EQ(admin().value("SELECT COUNT(DISTINCT a) FROM t"), "6");
}

TEST_F(Threads, QueryThroughHandlesOfTheirOwnAndShareThePools) {
  std::vector<std::function<void()>> readers;
  for (int number = 0; number < 4; ++number) {
    readers.emplace_back([this, number] {
      const Handle own = openHandle(*this);
      ASSERT_TRUE(own);
      const std::string table = "(SELECT " + std::to_string(number) + " AS a UNION SELECT 100 ORDER BY a) AS t";
      for (int round = 0; round < kRounds / 4; ++round) {
        const Result first = selectAs(Kind::statement, own.get(), "a", table.c_str());
        const Result second = selectAs(Kind::raw, own.get(), "a", table.c_str());
        const Result third = selectAs(Kind::statement, own.get(), "a", table.c_str());
        for (const Result *result : {&first, &second, &third}) {
          ASSERT_EQ(orv_db_result_step(result->get()), 9U);
          ASSERT_EQ(intOf(result->get()), number);
          ASSERT_EQ(orv_db_result_step(result->get()), 9U);
          ASSERT_EQ(textOf(result->get()), "100");
        }
      }
    });
  }
  together(readers);
}

// Freeing on another thread is fine: a result belongs to one thread at a time, not to the one that made it.
TEST_F(Threads, MayFreeAResultThatAnotherThreadHasMade) {
  Result made;
  std::thread([&] { made = selectAs(Kind::statement, handle(), "*", "(SELECT 1 AS a) AS t"); }).join();
  ASSERT_EQ(orv_db_result_step(made.get()), 9U);
  EXPECT_EQ(intOf(made.get()), 1);
  made.reset();
  EXPECT_EQ(sessionCount("Com_stmt_close"), 1);
}

}  // namespace

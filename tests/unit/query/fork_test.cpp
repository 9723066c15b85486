// Results that a forked child has inherited: releasing them there sends nothing on the parent's connection.
#include <unistd.h>

#include <fstream>
#include <functional>

#include "unit/core/in_child.h"
#include "unit/query/query_fixture.h"

namespace {

const char *const kTwoRows = "(SELECT 1 AS a UNION SELECT 2 ORDER BY a) AS t";

// A process of its own with results in the pool and on the heap, one row read of each, which forks then.
class Parent {
 public:
  explicit Parent(const std::string &db) {
    const DatabaseServer server = databaseServer();
    handle_.reset(
        orv_db_open(server.host.c_str(), server.user.c_str(), server.password.c_str(), db.c_str(), server.port));
    if (handle_ == nullptr) throw std::runtime_error(orv_db_get_error_str());
    for (int i = 0; i < 6; ++i) {
      results_.push_back(selectAs(Kind::statement, handle_.get(), "a", kTwoRows));
      results_.push_back(selectAs(Kind::raw, handle_.get(), "a", kTwoRows));
    }
    for (const Result &result : results_)
      EXPECT_EQ(orv_db_result_step(result.get()), 9U);
  }

  // The child ends with exit(), handlers and all.
  void fork(const std::function<void(std::vector<Result> &)> &inChild) {
    const pid_t child = ::fork();
    if (child == 0) {
      inChild(results_);
      exit(testing::Test::HasFailure() ? 1 : 0);
    }
    EXPECT_EQ(waitFor(child), exited(0));
  }

  void expectEverythingAsBefore() {
    for (const Result &result : results_) {
      EXPECT_EQ(intOf(result.get()), 1);
      EXPECT_EQ(orv_db_result_step(result.get()), 9U);
      EXPECT_EQ(intOf(result.get()), 2);
    }
    EXPECT_EQ(closedStatements(), "0");
    results_.clear();
    EXPECT_EQ(closedStatements(), "6");
  }

  std::string firstField(const std::string &sql, unsigned int column) {
    const QueryAnswer answer = runRaw(handle_.get(), sql);
    EXPECT_EQ(answer.status, 0U) << orv_db_get_error_str();
    EXPECT_EQ(orv_db_result_step(answer.rows.get()), 9U);
    return textOf(answer.rows.get(), column);
  }

 private:
  std::string closedStatements() { return firstField("SHOW SESSION STATUS LIKE 'Com_stmt_close'", 1); }

  Handle handle_;
  std::vector<Result> results_;
};

CHILD_PROGRAM(ForksAChildThatFreesItsResults) {
  Parent parent(arguments.at(0));
  parent.fork([](std::vector<Result> &results) { results.clear(); });
  parent.expectEverythingAsBefore();
  return 0;
}

CHILD_PROGRAM(ForksAChildThatOnlyExits) {
  Parent parent(arguments.at(0));
  parent.fork([](std::vector<Result> &) {});
  parent.expectEverythingAsBefore();
  return 0;
}

CHILD_PROGRAM(ForksAChildOverTls) {
  Parent parent(arguments.at(0));
  EXPECT_NE(parent.firstField("SHOW SESSION STATUS LIKE 'Ssl_cipher'", 1), "");
  parent.fork([](std::vector<Result> &results) { results.clear(); });
  parent.expectEverythingAsBefore();
  return 0;
}

CHILD_PROGRAM(ForksAChildThatQueriesAnew) {
  Parent parent(arguments.at(0));
  parent.fork([&](std::vector<Result> &) {
    Parent child(arguments.at(0));
    child.expectEverythingAsBefore();
  });
  parent.expectEverythingAsBefore();
  return 0;
}

class ForkWithResults : public DatabaseTest {
 protected:
  void expectSuccess(const RegisteredProgram &program) {
    ChildProgram parent(program, {db()});
    EXPECT_EQ(parent.wait(), exited(0)) << parent.output();
  }
};

TEST_F(ForkWithResults, ChildThatFreesThemLeavesTheParentsConnectionAlone) {
  expectSuccess(ForksAChildThatFreesItsResults);
}

TEST_F(ForkWithResults, ChildThatOnlyExitsLeavesTheParentsConnectionAlone) { expectSuccess(ForksAChildThatOnlyExits); }

TEST_F(ForkWithResults, ChildThatFreesThemLeavesTheParentsTlsConnectionAlone) {
  std::ofstream("/etc/my.cnf") << "[client]\nssl-ca=" << server().certificate << '\n';
  expectSuccess(ForksAChildOverTls);
}

TEST_F(ForkWithResults, ChildMayQueryThroughAHandleOfItsOwn) { expectSuccess(ForksAChildThatQueriesAnew); }

}  // namespace

// orv_db_query() and the statement runner: every call of the client library that can fail on the way.
#include "fault/fault_test.h"

namespace {

using ::testing::ElementsAre;

constexpr char kPrepareCall[] = "mysql_stmt_prepare SELECT * FROM t WHERE a=?";

class QueryCalls : public HandleTest {
 protected:
  QueryCalls() {
    client().script.statementError = "the statement's error";
    client().script.columns = {{"n", MYSQL_TYPE_LONG}};
    client().script.rows = {{"5"}};
    param_.type = ORV_DB_TYPE_INT;
  }

  StatementScript &select() { return client().statement("SELECT"); }

  unsigned int query() {
    ResultSetInfo *result = reinterpret_cast<ResultSetInfo *>(this);
    const unsigned int status = orv_db_query(handle(), "t", nullptr, 0, "a=?", &param_, 1, nullptr, &result);
    result_.reset(result);
    return status;
  }

  // Fails with this status and text, the statement closed once and no result.
  void expectFailure(int status, const char *text, const std::string &what) {
    SCOPED_TRACE(what);
    leaveErrorText();
    EXPECT_EQ(query(), static_cast<unsigned int>(status));
    EXPECT_EQ(result_, nullptr);
    EXPECT_STREQ(errorText(), text);
    EXPECT_EQ(client().count("mysql_stmt_close"), client().count("mysql_stmt_prepare"));
    EXPECT_EQ(client().openStatements.size(), 0U);
    EXPECT_EQ(client().openResults.size(), 0U);
  }

  _orv_db_param_t param_{};
  Result result_;

  void TearDown() override {
    result_.reset();
    HandleTest::TearDown();
  }
};

}  // namespace

TEST_F(QueryCalls, RunsUnderTheLockAndStoresWithoutIt) {
  EXPECT_EQ(query(), 0U);
  EXPECT_THAT(client().calls(),
              ElementsAre("lock handle", "mysql_stmt_init", kPrepareCall, "mysql_stmt_param_count",
                          "mysql_stmt_bind_param", "mysql_stmt_execute", "unlock handle", "lock statement pool",
                          "unlock statement pool", "mysql_stmt_result_metadata", "mysql_num_fields",
                          "mysql_fetch_fields", "mysql_stmt_bind_result", "mysql_stmt_store_result"));
}

TEST_F(QueryCalls, FailureOfStatementInitGives4AndNoText) {
  client().script.failingStatementInit = 1;
  expectFailure(4, "", "init");
  EXPECT_THAT(lastCalls(3), ElementsAre("lock handle", "mysql_stmt_init", "unlock handle"));
}

TEST_F(QueryCalls, MapsTheValueThatAFailedPrepareReturned) {
  for (const auto &[code, status] : mappedCodes()) {
    select().prepare = code;
    expectFailure(status, "the statement's error", "prepare " + std::to_string(code));
  }
}

TEST_F(QueryCalls, ClosesAStatementThatCouldNotBePreparedUnderTheLock) {
  select().prepare = 1;
  EXPECT_EQ(query(), 1U);
  EXPECT_THAT(client().calls(), ElementsAre("lock handle", "mysql_stmt_init", kPrepareCall, "mysql_stmt_error",
                                            "mysql_stmt_close", "unlock handle"));
}

TEST_F(QueryCalls, ParameterCountThatDiffersGives3AndNoText) {
  for (const unsigned long count : {0UL, 2UL, 65535UL}) {
    select().parameterCount = count;
    expectFailure(3, "", "count " + std::to_string(count));
    EXPECT_THAT(lastCalls(3), ElementsAre("mysql_stmt_param_count", "mysql_stmt_close", "unlock handle"));
  }
}

TEST_F(QueryCalls, FailureToAllocateTheBindsGives4AndNoText) {
  leaveErrorText();
  constexpr int kText = 1;  // of the statement; the second allocation is that of the binds
  const FailingCall failing(kAllocation, kText + 1);
  EXPECT_EQ(query(), 4U);
  EXPECT_TRUE(failing.happened());
  EXPECT_STREQ(errorText(), "");
  EXPECT_THAT(lastCalls(3), ElementsAre("mysql_stmt_param_count", "mysql_stmt_close", "unlock handle"));
}

TEST_F(QueryCalls, FailureOfBindGives1AndTheText) {
  for (const char code : {'\1', '\2', '\177'}) {
    select().bindParam = code;
    expectFailure(1, "the statement's error", "bind " + std::to_string(code));
    EXPECT_THAT(lastCalls(4),
                ElementsAre("mysql_stmt_bind_param", "mysql_stmt_error", "mysql_stmt_close", "unlock handle"));
  }
}

TEST_F(QueryCalls, MapsTheValueThatAFailedExecuteReturned) {
  for (const auto &[code, status] : mappedCodes()) {
    select().execute = code;
    expectFailure(status, "the statement's error", "execute " + std::to_string(code));
    EXPECT_THAT(lastCalls(4),
                ElementsAre("mysql_stmt_execute", "mysql_stmt_error", "mysql_stmt_close", "unlock handle"));
  }
}

TEST_F(QueryCalls, FailureToObtainAResultSetGives4AndTheText) {
  std::vector<Result> pool(5);
  for (Result &slot : pool) {
    ASSERT_EQ(query(), 0U);
    slot = std::move(result_);
  }
  client().forgetCalls();
  {
    constexpr int kTextAndBinds = 2;
    const FailingCall failing(kAllocation, kTextAndBinds + 1);
    EXPECT_EQ(query(), 4U);
    EXPECT_TRUE(failing.happened());
  }
  EXPECT_EQ(result_, nullptr);
  EXPECT_STREQ(errorText(), "the statement's error");
  EXPECT_THAT(lastCalls(4), ElementsAre("mysql_stmt_error", "lock handle", "mysql_stmt_close", "unlock handle"));
  EXPECT_EQ(query(), 0U);
}

TEST_F(QueryCalls, StatementWithoutMetadataGives4AndTheText) {
  select().hasMetadata = false;
  expectFailure(4, "the statement's error", "no metadata");
  EXPECT_THAT(lastCalls(4), ElementsAre("mysql_stmt_error", "lock handle", "mysql_stmt_close", "unlock handle"));
}

TEST_F(QueryCalls, ResultWithoutColumnsGives1AndTheText) {
  client().script.columns.clear();
  expectFailure(1, "the statement's error", "no columns");
  EXPECT_EQ(client().count("mysql_fetch_fields"), 0U);
  EXPECT_EQ(client().count("mysql_free_result"), 1U);
}

TEST_F(QueryCalls, ResultWithoutAListOfFieldsGives1AndTheText) {
  client().script.hasFieldList = false;
  expectFailure(1, "the statement's error", "no fields");
  EXPECT_EQ(client().count("mysql_free_result"), 1U);
}

TEST_F(QueryCalls, FailureToBindTheResultGives1AndTheText) {
  select().bindResult = 1;
  expectFailure(1, "the statement's error", "bind result");
  EXPECT_EQ(client().count("mysql_stmt_store_result"), 0U);
  EXPECT_EQ(client().count("mysql_free_result"), 1U);
}

TEST_F(QueryCalls, MapsTheValueThatAFailedStoreReturned) {
  for (const auto &[code, status] : mappedCodes()) {
    select().storeResult = code;
    expectFailure(status, "the statement's error", "store " + std::to_string(code));
    EXPECT_THAT(lastCalls(4), ElementsAre("mysql_stmt_error", "lock handle", "mysql_stmt_close", "unlock handle"));
  }
}

TEST_F(QueryCalls, Keeps127CharactersOfTheStatementsMessage) {
  const std::string message(300, 's');
  client().script.statementError = message.c_str();
  select().execute = 1;
  expectFailure(1, std::string(127, 's').c_str(), "runner");
  select().execute = 0;
  select().storeResult = 1;
  expectFailure(1, std::string(127, 's').c_str(), "result set");
}

TEST_F(QueryCalls, FailureWithoutAMessageLeavesNoText) {
  client().script.statementError = nullptr;
  select().prepare = 1;
  expectFailure(1, "", "prepare");
  select().prepare = 0;
  select().execute = 1;
  expectFailure(1, "", "execute");
  select().execute = 0;
  select().storeResult = 1;
  expectFailure(1, "", "store");
}

TEST_F(QueryCalls, NullArgumentsGive3ClearTheTextAndCallNothing) {
  ResultSetInfo *result = nullptr;
  leaveErrorText();
  EXPECT_EQ(orv_db_query(nullptr, "t", nullptr, 0, nullptr, nullptr, 0, nullptr, &result), 3U);
  EXPECT_STREQ(errorText(), "");
  leaveErrorText();
  EXPECT_EQ(orv_db_query(handle(), nullptr, nullptr, 0, nullptr, nullptr, 0, nullptr, &result), 3U);
  EXPECT_STREQ(errorText(), "");
  leaveErrorText();
  EXPECT_EQ(orv_db_query(handle(), "t", nullptr, 0, nullptr, nullptr, 0, nullptr, nullptr), 3U);
  EXPECT_STREQ(errorText(), "");
  EXPECT_THAT(client().calls(), ElementsAre());
}

TEST_F(QueryCalls, ReturnsItsResultSetToThePoolWhenItFails) {
  select().storeResult = 1;
  for (int i = 0; i < 6; ++i)
    EXPECT_EQ(query(), 1U);
  select().storeResult = 0;
  // Were a slot still marked as taken, the fifth result would need the heap already.
  constexpr int kTextAndBinds = 2;
  const auto allocations = [&] { return withEachAllocationFailing([&] { query(); }, [] {}); };
  std::vector<Result> pool(5);
  for (Result &slot : pool) {
    EXPECT_EQ(allocations(), kTextAndBinds);
    slot = std::move(result_);
  }
  EXPECT_EQ(allocations(), kTextAndBinds + 1);
}

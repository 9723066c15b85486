// Raw queries whose calls of the client library fail, one after the other.
#include "fault/fault_test.h"

namespace {

using ::testing::ElementsAre;

constexpr char kSql[] = "DO 1";

class RawQueryCalls : public HandleTest {
 protected:
  unsigned int query(ResultSetInfo **result) { return orv_db_raw_query(handle(), kSql, std::strlen(kSql), result); }

  static void storeOneRow() {
    client().script.storesResult = true;
    client().script.columns = {{"n", MYSQL_TYPE_LONG}};
    client().script.rows = {{"5"}};
  }
};

}  // namespace

TEST_F(RawQueryCalls, RunsStoresAndAsksForTheErrorInOneHoldOfTheLock) {
  EXPECT_EQ(query(nullptr), 0U);
  EXPECT_THAT(client().calls(), ElementsAre("lock handle", "mysql_real_query DO 1", "mysql_store_result", "mysql_errno",
                                            "unlock handle"));
}

TEST_F(RawQueryCalls, MapsTheValueThatTheFailedCallReturned) {
  client().script.error = "refused";
  for (const auto &[code, status] : mappedCodes()) {
    client().script.realQuery = code;
    ResultSetInfo *result = reinterpret_cast<ResultSetInfo *>(this);
    EXPECT_EQ(query(&result), static_cast<unsigned int>(status)) << code;
    EXPECT_EQ(result, nullptr);
    EXPECT_STREQ(errorText(), "refused");
  }
}

TEST_F(RawQueryCalls, TakesNoHeedOfTheErrorNumberWhenTheCallFails) {
  client().script.realQuery = 1;
  client().script.errorNumber = 2006;
  EXPECT_EQ(query(nullptr), 1U);
  EXPECT_THAT(client().calls(), ElementsAre("lock handle", "mysql_real_query DO 1", "mysql_error", "unlock handle"));
}

TEST_F(RawQueryCalls, MapsTheErrorNumberWhenNoResultCanBeStored) {
  client().script.error = "cannot store";
  for (const auto &[code, status] : mappedCodes()) {
    client().script.errorNumber = static_cast<unsigned int>(code);
    EXPECT_EQ(query(nullptr), static_cast<unsigned int>(status)) << code;
    EXPECT_STREQ(errorText(), "cannot store");
  }
}

TEST_F(RawQueryCalls, ReadsTheMessageOfAnErrorNumberInTheSameHoldOfTheLock) {
  client().script.errorNumber = 2013;
  EXPECT_EQ(query(nullptr), 13U);
  EXPECT_THAT(client().calls(), ElementsAre("lock handle", "mysql_real_query DO 1", "mysql_store_result", "mysql_errno",
                                            "mysql_error", "unlock handle"));
}

TEST_F(RawQueryCalls, HandsOutStoredRowsEvenIfThereIsAnErrorNumber) {
  storeOneRow();
  client().script.errorNumber = 2013;
  ResultSetInfo *result = nullptr;
  EXPECT_EQ(query(&result), 13U);
  const Result rows(result);
  EXPECT_EQ(orv_db_result_step(result), 9U);
}

TEST_F(RawQueryCalls, Keeps127CharactersOfTheMessage) {
  const std::string message(300, 'z');
  client().script.error = message.c_str();
  client().script.realQuery = 1;
  EXPECT_EQ(query(nullptr), 1U);
  EXPECT_EQ(errorText(), std::string(127, 'z'));
}

TEST_F(RawQueryCalls, FailureWithoutAMessageLeavesNoText) {
  leaveErrorText();
  client().script.error = nullptr;
  client().script.realQuery = 1;
  EXPECT_EQ(query(nullptr), 1U);
  EXPECT_STREQ(errorText(), "");

  leaveErrorText();
  client().script.error = nullptr;
  client().script.realQuery = 0;
  client().script.errorNumber = 2013;
  EXPECT_EQ(query(nullptr), 13U);
  EXPECT_STREQ(errorText(), "");
}

TEST_F(RawQueryCalls, ResultWithoutColumnsIsFreedAndGivesStatus0AndNoResult) {
  client().script.storesResult = true;
  ResultSetInfo *result = reinterpret_cast<ResultSetInfo *>(this);
  EXPECT_EQ(query(&result), 0U);
  EXPECT_EQ(result, nullptr);
  EXPECT_EQ(client().count("mysql_free_result"), 1U);
}

TEST_F(RawQueryCalls, ResultThatNobodyWantsIsFreedOutsideTheLock) {
  storeOneRow();
  EXPECT_EQ(query(nullptr), 0U);
  EXPECT_THAT(client().calls(), ElementsAre("lock handle", "mysql_real_query DO 1", "mysql_store_result", "mysql_errno",
                                            "unlock handle", "mysql_free_result"));
}

TEST_F(RawQueryCalls, ResultIsFreedOnceWithItsHandle) {
  storeOneRow();
  ResultSetInfo *result = nullptr;
  EXPECT_EQ(query(&result), 0U);
  EXPECT_EQ(client().count("mysql_free_result"), 0U);
  orv_db_free_result(result);
  EXPECT_EQ(client().count("mysql_free_result"), 1U);
}

TEST_F(RawQueryCalls, ColumnsWithoutAFieldHaveNoNameAndTheirTypeIsNotWritten) {
  storeOneRow();
  ResultSetInfo *result = nullptr;
  ASSERT_EQ(query(&result), 0U);
  const Result rows(result);
  auto type = ORV_DB_TYPE_BLOB;
  client().script.hasFields = false;
  EXPECT_EQ(orv_db_result_column_name(result, 0), nullptr);
  EXPECT_EQ(orv_db_result_column_type(result, 0, &type), 0U);
  EXPECT_EQ(type, ORV_DB_TYPE_BLOB);
  client().script.hasFields = true;
  EXPECT_EQ(orv_db_result_column_type(result, 0, &type), 0U);
  EXPECT_EQ(type, ORV_DB_TYPE_INT);
}

TEST_F(RawQueryCalls, ColumnsWithoutANameOrAListAreNotFound) {
  storeOneRow();
  client().script.columns = {{nullptr, MYSQL_TYPE_LONG}, {"n", MYSQL_TYPE_LONG}};
  client().script.rows = {{"5", "6"}};
  ResultSetInfo *result = nullptr;
  ASSERT_EQ(query(&result), 0U);
  const Result rows(result);
  EXPECT_EQ(orv_db_result_column_name(result, 0), nullptr);
  EXPECT_EQ(orv_db_result_column_index(result, "N"), 1);
  client().script.hasFieldList = false;
  EXPECT_EQ(orv_db_result_column_index(result, "N"), -1);
}

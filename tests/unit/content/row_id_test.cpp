// The row id that an update announces: that of the first matching row, looked up before the update.
#include <future>

#include "client_calls.h"
#include "content_test.h"
#include "core/locks.h"

using ::testing::ElementsAre;

namespace {

class RowId : public TableTest {
 public:
  void createTable(const std::string &idColumn, const std::string &values) {
    sql("CREATE TABLE t (" + idColumn + ", a INT)");
    sql("INSERT INTO t VALUES " + values);
  }

  // Sets a=1; that this is done is part of every test, whatever becomes of the look-up.
  void update(const char *where, const std::vector<_orv_db_param_t> &params = {}) {
    unsigned long long affected = 0;
    EXPECT_EQ(orv_db_update(handle(), "t", Content().with("a", 1), where, params.data(),
                            static_cast<int>(params.size()), &affected),
              ORV_DB_OK)
        << errorText();
    EXPECT_GE(affected, 1U);
    EXPECT_STREQ(errorText(), "");
  }
};

}  // namespace

TEST_F(RowId, IsLookedUpWithTheSameWhereText) {
  createTable("_id INT", "(7, 0)");
  update("a=?", {intParam(0)});
  EXPECT_THAT(preparedTexts(), ElementsAre("SELECT _id FROM t WHERE a=?", "UPDATE t SET a=? WHERE a=?"));
}

TEST_F(RowId, IsLookedUpWithoutWhereWhereTheUpdateHasNone) {
  createTable("_id INT", "(7, 0)");
  update(nullptr);
  EXPECT_THAT(preparedTexts(), ElementsAre("SELECT _id FROM t", "UPDATE t SET a=?"));
}

TEST_F(RowId, IsThatOfTheMatchingRow) {
  createTable("_id INT", "(7, 0), (8, 5), (9, 0)");
  update("a=?", {intParam(5)});
  EXPECT_THAT(announced(), ElementsAre(updated("t", 8)));
}

TEST_F(RowId, IsThatOfTheFirstRowOfMany) {
  createTable("_id INT PRIMARY KEY", "(9, 0), (8, 0), (7, 5)");
  update("a=0");
  EXPECT_THAT(announced(), ElementsAre(updated("t", 8)));
}

TEST_F(RowId, IsThatOfTheFirstRowOfTheTableWithoutWhere) {
  createTable("_id INT PRIMARY KEY", "(9, 0), (8, 0), (7, 5)");
  update(nullptr);
  EXPECT_THAT(announced(), ElementsAre(updated("t", 7)));
}

TEST_F(RowId, IsThatOfTheRowThatOrderByInTheWhereTextPutsFirst) {
  createTable("_id INT PRIMARY KEY", "(1, 0), (2, 0), (3, 0)");
  update("a=0 ORDER BY _id DESC LIMIT 1");
  EXPECT_THAT(announced(), ElementsAre(updated("t", 3)));
}

TEST_F(RowId, IsTheOneFromBeforeTheUpdate) {
  createTable("_id INT", "(7, 0)");
  ASSERT_EQ(orv_db_update(handle(), "t", Content().with("_id", 8).with("a", 1), "a=0", nullptr, 0, nullptr), ORV_DB_OK);
  EXPECT_THAT(announced(), ElementsAre(updated("t", 7)));
}

TEST_F(RowId, Has64Bits) {
  createTable("_id BIGINT UNSIGNED", "(18446744073709551614, 0)");
  update(nullptr);
  EXPECT_THAT(announced(), ElementsAre(updated("t", 18446744073709551614ULL)));
}

TEST_F(RowId, IsFoundInAColumnOfAnotherCase) {
  createTable("_ID INT", "(7, 0)");
  update(nullptr);
  EXPECT_THAT(announced(), ElementsAre(updated("t", 7)));
}

TEST_F(RowId, IsZeroForANullId) {
  createTable("_id INT", "(NULL, 0)");
  update(nullptr);
  EXPECT_THAT(announced(), ElementsAre(updated("t", 0)));
}

TEST_F(RowId, IsAllBitsWithoutAnIdColumnAndLeavesNoErrorText) {
  createTable("id INT", "(7, 0)");
  update("a=?", {intParam(0)});
  EXPECT_THAT(announced(), ElementsAre(updated("t", kAllBitsSet)));
}

TEST_F(RowId, IsAllBitsWhenTheLookUpFindsNoRow) {
  // The filter counts how often it is asked: first by the look-up, then by the update.
  createTable("_id INT", "(7, 0)");
  ASSERT_EQ(orv_db_raw_query(handle(), "SET @calls=0", 12, nullptr), 0U);
  update("(@calls:=@calls+1)>1");
  EXPECT_THAT(announced(), ElementsAre(updated("t", kAllBitsSet)));
}

TEST_F(RowId, IsAllBitsWhenTheLookUpFails) {
  createTable("_id INT", "(7, 0)");
  ASSERT_EQ(orv_db_raw_query(handle(), "SET @calls=0", 12, nullptr), 0U);
  // Two rows are one too many for the subquery, in the look-up alone.
  update("a=(SELECT 0 UNION ALL SELECT 0 FROM DUAL WHERE (@calls:=@calls+1)=1)");
  EXPECT_THAT(announced(), ElementsAre(updated("t", kAllBitsSet)));
}

TEST_F(RowId, IsAllBitsWhenTheLookUpFailsAmidItsRows) {
  createTable("_id INT", "(7, 0), (8, 0)");
  ASSERT_EQ(orv_db_raw_query(handle(), "SET @calls=0", 12, nullptr), 0U);
  update("a=(SELECT 0 UNION ALL SELECT 0 FROM DUAL WHERE (@calls:=@calls+1)=2)");
  EXPECT_THAT(announced(), ElementsAre(updated("t", kAllBitsSet)));
  EXPECT_THAT(statementCalls(), ElementsAre("init", "prepare", "execute", "store_result", "close",  // look-up
                                            "init", "prepare", "execute", "close"));
}

// The look-up gets the number as it was given, and the update the number of parameters that it uses.
TEST_F(RowId, IsAllBitsForANegativeNumberOfParameters) {
  createTable("_id INT", "(7, 0)");
  const _orv_db_param_t param = intParam(0);
  EXPECT_EQ(orv_db_update(handle(), "t", Content().with("a", 1), "a=0", &param, -1, nullptr), ORV_DB_OK);
  EXPECT_THAT(announced(), ElementsAre(updated("t", kAllBitsSet)));
}

TEST_F(RowId, IsAllBitsForANumberOfParametersThatAreNull) {
  createTable("_id INT", "(7, 0)");
  EXPECT_EQ(orv_db_update(handle(), "t", Content().with("a", 1), "a=0", nullptr, 2, nullptr), ORV_DB_OK);
  EXPECT_THAT(announced(), ElementsAre(updated("t", kAllBitsSet)));
}

TEST_F(RowId, IsThatOfTheRowForZeroParameters) {
  createTable("_id INT", "(7, 0)");
  const _orv_db_param_t param = intParam(0);
  EXPECT_EQ(orv_db_update(handle(), "t", Content().with("a", 1), "a=0", &param, 0, nullptr), ORV_DB_OK);
  EXPECT_THAT(announced(), ElementsAre(updated("t", 7)));
}

// A look-up that took its rows from the pool would wait for the pool's lock while it holds that of the handle, which is
// the wrong way round.
TEST_F(RowId, IsLookedUpWithoutAResultSetFromThePool) {
  createTable("_id INT", "(7, 0)");
  s_pStmtSetPoolMutex->lock();
  std::future<void> updating = std::async(std::launch::async, [&] { update(nullptr); });
  const bool done = updating.wait_for(kPatience) == std::future_status::ready;
  s_pStmtSetPoolMutex->unlock();
  updating.get();
  EXPECT_TRUE(done);
  EXPECT_THAT(announced(), ElementsAre(updated("t", 7)));
}

// Walking through the rows of a result, of both kinds.
#include "unit/query/query_fixture.h"

namespace {

class Walk : public BothKindsTest {
 protected:
  Result threeRows() const { return select("a", "(SELECT 1 AS a UNION SELECT 2 UNION SELECT 3 ORDER BY a) AS t"); }

  // The status of a getter and its number, 99 if it wrote none.
  static std::pair<unsigned int, int> current(const Result &result) {
    int number = 99;
    const unsigned int status = orv_db_result_column_int(result.get(), 0, &number);
    return {status, number};
  }
};
INSTANTIATE_FOR_BOTH_KINDS(Walk);

using Current = std::pair<unsigned int, int>;
constexpr unsigned int kRow = 9;
constexpr unsigned int kDone = 10;
const Current kNoRow{11, 99};

TEST_P(Walk, GivesEveryRowOnceAndThenDone) {
  const Result result = threeRows();
  for (const int expected : {1, 2, 3}) {
    EXPECT_EQ(orv_db_result_step(result.get()), kRow);
    EXPECT_EQ(current(result), Current(0, expected));
  }
  EXPECT_EQ(orv_db_result_step(result.get()), kDone);
  EXPECT_EQ(orv_db_result_step(result.get()), kDone);
}

TEST_P(Walk, HasNoCurrentRowBeforeTheFirstStep) { EXPECT_EQ(current(threeRows()), kNoRow); }

TEST_P(Walk, HasNoCurrentRowAfterTheLast) {
  const Result result = threeRows();
  while (orv_db_result_step(result.get()) == kRow) {
  }
  EXPECT_EQ(current(result), kNoRow);
}

TEST_P(Walk, KnowsTheNumberOfRowsBeforeDuringAndAfterIt) {
  const Result result = threeRows();
  EXPECT_EQ(orv_db_result_row_count(result.get()), 3);
  EXPECT_EQ(orv_db_result_step(result.get()), kRow);
  EXPECT_EQ(orv_db_result_row_count(result.get()), 3);
  while (orv_db_result_step(result.get()) == kRow) {
  }
  EXPECT_EQ(orv_db_result_row_count(result.get()), 3);
}

TEST_P(Walk, StartsAgainAtTheFirstRowAfterAReset) {
  const Result result = threeRows();
  for (int round = 0; round < 3; ++round) {
    for (const int expected : {1, 2, 3}) {
      EXPECT_EQ(orv_db_result_step(result.get()), kRow);
      EXPECT_EQ(current(result), Current(0, expected));
    }
    EXPECT_EQ(orv_db_result_step(result.get()), kDone);
    EXPECT_EQ(orv_db_result_reset(result.get()), 0U);
  }
}

TEST_P(Walk, KeepsTheRowReadableAfterAResetUntilTheNextStep) {
  const Result result = threeRows();
  orv_db_result_step(result.get());
  orv_db_result_step(result.get());
  EXPECT_EQ(orv_db_result_reset(result.get()), 0U);
  EXPECT_EQ(current(result), Current(0, 2));
  EXPECT_EQ(textOf(result.get()), "2");
  EXPECT_EQ(orv_db_result_step(result.get()), kRow);
  EXPECT_EQ(current(result), Current(0, 1));
}

TEST_P(Walk, HasNoCurrentRowAfterAResetBehindTheLast) {
  const Result result = threeRows();
  while (orv_db_result_step(result.get()) == kRow) {
  }
  EXPECT_EQ(orv_db_result_reset(result.get()), 0U);
  EXPECT_EQ(current(result), kNoRow);
  EXPECT_EQ(orv_db_result_step(result.get()), kRow);
  EXPECT_EQ(current(result), Current(0, 1));
}

TEST_P(Walk, IsNotDisturbedByAResetAtItsBegin) {
  const Result result = threeRows();
  EXPECT_EQ(orv_db_result_reset(result.get()), 0U);
  EXPECT_EQ(current(result), kNoRow);
  EXPECT_EQ(orv_db_result_step(result.get()), kRow);
  EXPECT_EQ(current(result), Current(0, 1));
}

TEST_P(Walk, OfNoRowsIsDoneAtOnce) {
  const Result result = select("a", "(SELECT 1 AS a) AS t WHERE a = 2");
  EXPECT_EQ(orv_db_result_row_count(result.get()), 0);
  EXPECT_EQ(orv_db_result_column_count(result.get()), 1);
  EXPECT_EQ(orv_db_result_step(result.get()), kDone);
  EXPECT_EQ(current(result), kNoRow);
  EXPECT_EQ(orv_db_result_reset(result.get()), 0U);
  EXPECT_EQ(orv_db_result_step(result.get()), kDone);
}

TEST_P(Walk, OfOneResultDoesNotMoveAnother) {
  const Result first = threeRows();
  const Result second = threeRows();
  orv_db_result_step(first.get());
  orv_db_result_step(first.get());
  orv_db_result_step(second.get());
  EXPECT_EQ(current(first), Current(0, 2));
  EXPECT_EQ(current(second), Current(0, 1));
}

}  // namespace

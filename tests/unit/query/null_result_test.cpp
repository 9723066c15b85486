// Every accessor without a result, and every operation of a set that no query has filled.
#include <gtest/gtest.h>

#include <climits>

#include "query/raw_set.h"
#include "query/stmt_set.h"
#include "unit/query/accessors.h"

namespace {

TEST(NullResult, IsFreedQuietly) {
  ResultSetInfo *taken = allocRawSetInfo();
  ASSERT_EQ(taken->m_poolSlot, 0);
  orv_db_free_result(nullptr);
  EXPECT_EQ(taken->m_poolSlot, 0);
  orv_db_free_result(taken);
}

TEST(NullResult, HasCountsOfMinusOne) {
  EXPECT_EQ(orv_db_result_row_count(nullptr), -1);
  EXPECT_EQ(orv_db_result_column_count(nullptr), -1);
}

TEST(NullResult, RefusesToStepAndReset) {
  EXPECT_EQ(orv_db_result_step(nullptr), 3U);
  EXPECT_EQ(orv_db_result_reset(nullptr), 3U);
}

TEST(NullResult, HasNoColumnNames) {
  EXPECT_EQ(orv_db_result_column_name(nullptr, 0), nullptr);
  EXPECT_EQ(orv_db_result_column_index(nullptr, "a"), -1);
  EXPECT_EQ(orv_db_result_column_index(nullptr, nullptr), -1);
}

TEST(NullResult, GivesInvalidArgumentAndLeavesTheOutput) {
  for (const auto *group : {&descriptionAccessors(), &numberAccessors(), &bytesAccessors()}) {
    for (const Accessor &accessor : *group) {
      SCOPED_TRACE(accessor.name);
      WatchedOutput output;
      EXPECT_EQ(accessor.exported(nullptr, 0, output.get()), 3U);
      EXPECT_TRUE(output.isUntouched());
      EXPECT_EQ(accessor.exported(nullptr, 0, nullptr), 3U);
    }
  }
}

struct EmptySets {
  RawSetInfo raw;
  StmtSetInfo statement;
  ResultSetInfo *const both[2] = {&raw, &statement};
};

TEST(EmptySet, CarriesItsKindAndNoSlot) {
  const EmptySets sets;
  EXPECT_EQ(sets.raw.m_kind, 0U);
  EXPECT_EQ(sets.statement.m_kind, 1U);
  for (const ResultSetInfo *set : sets.both)
    EXPECT_EQ(set->m_poolSlot, 255);
}

TEST(EmptySet, HasNoRowsAndNoColumns) {
  const EmptySets sets;
  for (ResultSetInfo *set : sets.both) {
    EXPECT_EQ(set->rowCnt(), -1);
    EXPECT_EQ(set->colCnt(), 0U);
    EXPECT_EQ(set->colName(0), nullptr);
    EXPECT_EQ(set->colIndex("a"), -1);
    EXPECT_EQ(set->colIndex(nullptr), -1);
  }
}

TEST(EmptySet, FailsToStepAndReset) {
  const EmptySets sets;
  for (ResultSetInfo *set : sets.both) {
    EXPECT_EQ(set->step(), 1U);
    EXPECT_EQ(set->reset(), 1U);
  }
}

TEST(EmptySet, HasNoCurrentRowForTheGetters) {
  const EmptySets sets;
  for (ResultSetInfo *set : sets.both) {
    for (const Accessor &accessor : rowAccessors()) {
      SCOPED_TRACE(accessor.name);
      WatchedOutput output;
      EXPECT_EQ(accessor.onSet(set, 0, output.get()), 11U);
      EXPECT_TRUE(output.isUntouched());
      EXPECT_EQ(accessor.onSet(set, UINT_MAX, nullptr), 11U) << "the row is looked at first";
    }
  }
}

TEST(EmptySet, HasNoColumnTypes) {
  const EmptySets sets;
  for (ResultSetInfo *set : sets.both) {
    _orv_db_type_t type = ORV_DB_TYPE_FORCE_32_BITS;
    EXPECT_EQ(set->colType(0, &type), 3U);
    EXPECT_EQ(set->colType(0, nullptr), 3U);
    EXPECT_EQ(type, ORV_DB_TYPE_FORCE_32_BITS);
  }
}

TEST(EmptySet, IsEmptiedAgainWithoutHarm) {
  const EmptySets sets;
  for (ResultSetInfo *set : sets.both) {
    set->free();
    EXPECT_EQ(set->rowCnt(), -1);
  }
}

}  // namespace

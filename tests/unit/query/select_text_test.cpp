// The text of a SELECT.
#include <gtest/gtest.h>

#include "query/select.h"

namespace {

constexpr const char *kTwoColumns[] = {"a", "b"};

TEST(SelectText, TakesColumnsWhereAndOrderAsTheyStand) {
  EXPECT_EQ(selectText("t", kTwoColumns, 2, "id=?", "b DESC"), "SELECT a,b FROM t WHERE id=? ORDER BY b DESC");
}

TEST(SelectText, LeavesOutAWhereThatIsNull) {
  EXPECT_EQ(selectText("t", kTwoColumns, 2, nullptr, "b"), "SELECT a,b FROM t ORDER BY b");
}

TEST(SelectText, LeavesOutAnOrderThatIsNull) {
  EXPECT_EQ(selectText("t", kTwoColumns, 2, "id=?", nullptr), "SELECT a,b FROM t WHERE id=?");
}

TEST(SelectText, KeepsEmptyTexts) {
  EXPECT_EQ(selectText("", kTwoColumns, 1, "", ""), "SELECT a FROM  WHERE  ORDER BY ");
}

TEST(SelectText, TakesAsManyColumnsAsCounted) {
  EXPECT_EQ(selectText("t", kTwoColumns, 1, nullptr, nullptr), "SELECT a FROM t");
}

TEST(SelectText, SelectsAllWhenNoColumnsAreCounted) {
  EXPECT_EQ(selectText("t", kTwoColumns, 0, nullptr, nullptr), "SELECT * FROM t");
}

TEST(SelectText, SelectsAllWithoutAList) {
  EXPECT_EQ(selectText("t", nullptr, 2, nullptr, nullptr), "SELECT * FROM t");
}

TEST(SelectText, EndsAtAFirstColumnThatIsNull) {
  constexpr const char *kColumns[] = {nullptr, "b"};
  EXPECT_EQ(selectText("t", kColumns, 2, "id=?", "b"), "SELECT ");
}

TEST(SelectText, EndsAtALaterColumnThatIsNull) {
  constexpr const char *kColumns[] = {"a", nullptr, "c"};
  EXPECT_EQ(selectText("t", kColumns, 3, "id=?", "b"), "SELECT a,");
}

}  // namespace

#include "forwarding/transit.h"

#include <gmock/gmock.h>

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

_ORV_DB_MESSAGE change(std::uint64_t id) {
  _ORV_DB_MESSAGE record{};
  record.type = MSG_CHANGE;
  record.rowId = id;
  return record;
}

std::vector<std::uint64_t> takeAll(Transit &transit) {
  std::vector<std::uint64_t> ids;
  while (transit.hasDue())
    ids.push_back(transit.takeDue().record.rowId);
  return ids;
}

TEST(Transit, ChangeIsDueAtTheEndOfThePassAfterTheOneThatReadIt) {
  Transit transit;
  transit.beginPass();
  transit.add(5, change(1));
  EXPECT_FALSE(transit.hasDue());
  EXPECT_FALSE(transit.isEmpty());

  transit.beginPass();
  transit.add(6, change(2));
  ASSERT_TRUE(transit.hasDue());
  const Transit::Change first = transit.takeDue();
  EXPECT_EQ(first.sender, 5U);
  EXPECT_EQ(first.record.rowId, 1U);
  EXPECT_FALSE(transit.hasDue());

  transit.beginPass();
  ASSERT_TRUE(transit.hasDue());
  EXPECT_EQ(transit.takeDue().sender, 6U);
  EXPECT_TRUE(transit.isEmpty());
}

TEST(Transit, WhatIsNotTakenStaysDueBeforeWhatComesLater) {
  Transit transit;
  for (std::uint64_t id = 1; id <= 3; ++id)
    transit.add(5, change(id));
  transit.beginPass();
  EXPECT_EQ(transit.takeDue().record.rowId, 1U);
  transit.add(5, change(4));
  transit.beginPass();
  transit.add(5, change(5));
  EXPECT_THAT(takeAll(transit), ElementsAre(2, 3, 4));
  transit.beginPass();
  EXPECT_THAT(takeAll(transit), ElementsAre(5));
  transit.beginPass();
  EXPECT_THAT(takeAll(transit), IsEmpty());
  EXPECT_TRUE(transit.isEmpty());
}

TEST(Transit, CountsTheBytesOfAllThatHasNotBeenTaken) {
  Transit transit;
  transit.add(5, change(1));
  transit.beginPass();
  transit.add(5, change(2));
  transit.add(5, change(3));
  EXPECT_EQ(transit.bytes(), 3 * sizeof(_ORV_DB_MESSAGE));
  transit.takeDue();
  EXPECT_EQ(transit.bytes(), 2 * sizeof(_ORV_DB_MESSAGE));
}

TEST(Transit, LossIsDueLikeAChangeAndOnce) {
  Transit transit;
  transit.beginPass();
  transit.lose();
  EXPECT_FALSE(transit.takeLostDue());
  EXPECT_FALSE(transit.isEmpty());
  transit.beginPass();
  EXPECT_TRUE(transit.takeLostDue());
  EXPECT_TRUE(transit.isEmpty());
  transit.beginPass();
  EXPECT_FALSE(transit.takeLostDue());
}

}  // namespace

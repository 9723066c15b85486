#include "forwarding/transit.h"

#include <gtest/gtest.h>

namespace {

_ORV_DB_MESSAGE change(std::uint64_t id) {
  _ORV_DB_MESSAGE record{};
  record.type = MSG_CHANGE;
  record.rowId = id;
  return record;
}

TEST(Transit, ChangeIsDueAtTheEndOfThePassAfterTheOneThatReadIt) {
  Transit transit;
  transit.beginPass();
  transit.add(5, change(1));
  EXPECT_TRUE(transit.due().empty());
  transit.endPass();
  EXPECT_FALSE(transit.isEmpty());

  transit.beginPass();
  transit.add(6, change(2));
  ASSERT_EQ(transit.due().size(), 1U);
  EXPECT_EQ(transit.due()[0].sender, 5U);
  EXPECT_EQ(transit.due()[0].record.rowId, 1U);
  transit.endPass();

  transit.beginPass();
  ASSERT_EQ(transit.due().size(), 1U);
  EXPECT_EQ(transit.due()[0].sender, 6U);
  transit.endPass();
  EXPECT_TRUE(transit.isEmpty());
}

TEST(Transit, CountsTheBytesOfBothPasses) {
  Transit transit;
  transit.add(5, change(1));
  transit.beginPass();
  transit.add(5, change(2));
  transit.add(5, change(3));
  EXPECT_EQ(transit.bytes(), 3 * sizeof(_ORV_DB_MESSAGE));
  transit.endPass();
  EXPECT_EQ(transit.bytes(), 2 * sizeof(_ORV_DB_MESSAGE));
}

TEST(Transit, LossIsDueLikeAChangeAndOnce) {
  Transit transit;
  transit.beginPass();
  transit.lose();
  EXPECT_FALSE(transit.hasLostDue());
  EXPECT_FALSE(transit.isEmpty());
  transit.endPass();
  transit.beginPass();
  EXPECT_TRUE(transit.hasLostDue());
  transit.endPass();
  EXPECT_TRUE(transit.isEmpty());
  transit.beginPass();
  EXPECT_FALSE(transit.hasLostDue());
}

}  // namespace

#include "forwarding/byte_queue.h"

#include <gtest/gtest.h>

#include <random>

namespace {

TEST(ByteQueue, GivesBytesInTheOrderInWhichTheyCame) {
  ByteQueue queue;
  EXPECT_TRUE(queue.isEmpty());
  queue.append("abc");
  queue.append("def");
  EXPECT_EQ(queue.view(), "abcdef");
  queue.consume(2);
  EXPECT_EQ(queue.view(), "cdef");
  queue.append("g");
  EXPECT_EQ(queue.view(), "cdefg");
  EXPECT_EQ(queue.size(), 5U);
  queue.consume(5);
  EXPECT_TRUE(queue.isEmpty());
  EXPECT_EQ(queue.view(), "");
}

TEST(ByteQueue, ClearedOneIsEmptyAndTakesBytesAgain) {
  ByteQueue queue;
  queue.append(std::string(100'000, 'x'));
  queue.consume(7);
  queue.clear();
  EXPECT_TRUE(queue.isEmpty());
  queue.append("again");
  EXPECT_EQ(queue.view(), "again");
}

TEST(ByteQueue, EqualsAStringUnderRandomUse) {
  std::mt19937 random(1);
  ByteQueue queue;
  std::string expected;
  for (int i = 0; i < 20'000; ++i) {
    if (random() % 2 == 0) {
      const std::string bytes(random() % 500, static_cast<char>('a' + random() % 26));
      queue.append(bytes);
      expected += bytes;
    } else {
      const std::size_t count = random() % (expected.size() + 1);
      queue.consume(count);
      expected.erase(0, count);
    }
    ASSERT_EQ(queue.view(), expected);
  }
}

}  // namespace

#include "forwarding/byte_queue.h"

#include <gtest/gtest.h>
#include <malloc.h>

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

class ByteQueueMemory : public testing::TestWithParam<std::size_t> {};

// Of the queue, as what is left in it may take.
TEST_P(ByteQueueMemory, IsGivenBackWhenTheQueueHasShrunk) {
  const auto inUse = [] { return mallinfo2().uordblks + mallinfo2().hblkhd; };
  constexpr std::size_t kMany = 1'000'000;
  const std::size_t left = GetParam();
  ByteQueue queue;
  const std::size_t before = inUse();
  queue.append(std::string(kMany, 'x'));
  EXPECT_TRUE(inUse() == 0 || inUse() >= before + kMany);  // sanitizers have an allocator of their own
  queue.consume(kMany - left);
  EXPECT_LT(inUse(), before + left + 10'000);
}

INSTANTIATE_TEST_SUITE_P(WithSoManyBytesLeft, ByteQueueMemory, testing::Values(0, 1, 1000));

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

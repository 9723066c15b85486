#include "forwarding/siphash.h"

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "forwarding/connection.h"
#include "forwarding/routes.h"

namespace {

// The key and the messages of the hash's own test vectors: the bytes 0, 1, 2 and so on.
constexpr SipKey kKey{0x0706050403020100, 0x0f0e0d0c0b0a0908};

std::string firstBytes(std::size_t count) {
  std::string bytes;
  for (std::size_t i = 0; i < count; ++i)
    bytes += static_cast<char>(i);
  return bytes;
}

TEST(SipHash, GivesTheReferenceValues) {
  constexpr std::uint64_t kReference[] = {0x726fdb47dd0e0e31, 0x74f839c593dc67fd, 0x0d6c8009d9a94f5a,
                                          0x85676696d7fb7e2d, 0xcf2794e0277187b7, 0x18765564cd99a68d,
                                          0xcbc9466e58fee3ce, 0xab0200f58b01d137, 0x93f5f5799a932462};
  for (std::size_t length = 0; length < std::size(kReference); ++length)
    EXPECT_EQ(SipHash(kKey)(firstBytes(length)), kReference[length]) << length;
  EXPECT_EQ(SipHash(kKey)(firstBytes(15)), 0xa129ca6149be45e5);
}

// Who knows the names that share a bucket in one server has not found any for another.
TEST(SipHash, NamesThatCollideWithOneSeedAreSpreadWithAnother) {
  constexpr std::uint64_t kBuckets = 101;
  constexpr SipKey kOtherKey{kKey.low, kKey.high ^ 1};
  std::vector<std::string> colliding;
  for (int i = 0; colliding.size() < 500; ++i) {
    std::string name = "table " + std::to_string(i);
    if (SipHash(kKey)(name) % kBuckets == 0) colliding.push_back(std::move(name));
  }
  std::map<std::uint64_t, int> buckets;
  int most = 0;
  for (const std::string &name : colliding)
    most = std::max(most, ++buckets[SipHash(kOtherKey)(name) % kBuckets]);
  EXPECT_LT(most, 20);
}

TEST(SipHash, RoutesOfAnySeedKnowWhatTheyWereGiven) {
  for (std::uint64_t seed = 0; seed < 10; ++seed) {
    Routes routes({seed, ~seed});
    Connection reader(7, Descriptor(), Peer());
    std::vector<std::string> keys;
    for (int i = 0; i < 1000; ++i)
      keys.push_back("shop" + std::string(1, '\0') + std::to_string(i));
    for (const std::string &key : keys)
      routes.add(reader, key, 1);
    EXPECT_EQ(routes.keyCount(), keys.size());
    for (const std::string &key : keys)
      ASSERT_EQ(routes.find(key)->key, key);
    EXPECT_EQ(routes.find("shop"), nullptr);
    while (!reader.interests().isEmpty())
      routes.remove(reader.interests().back());
    EXPECT_EQ(routes.keyCount(), 0U);
  }
}

}  // namespace

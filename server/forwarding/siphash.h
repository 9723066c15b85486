// SipHash-2-4: a keyed hash, so that nobody who chooses names can make them collide.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

struct SipKey {
  std::uint64_t low;
  std::uint64_t high;
};

class SipHash {
 public:
  explicit SipHash(SipKey key)
      : m_v{key.low ^ 0x736f6d6570736575, key.high ^ 0x646f72616e646f6d, key.low ^ 0x6c7967656e657261,
            key.high ^ 0x7465646279746573} {}

  std::uint64_t operator()(std::string_view bytes) {
    const std::size_t whole = bytes.size() / sizeof(std::uint64_t) * sizeof(std::uint64_t);
    for (std::size_t at = 0; at < whole; at += sizeof(std::uint64_t))
      absorb(load(bytes.substr(at, 8)));
    absorb(load(bytes.substr(whole)) | static_cast<std::uint64_t>(bytes.size()) << 56);
    m_v[2] ^= 0xff;
    for (int i = 0; i < 4; ++i)
      round();
    return m_v[0] ^ m_v[1] ^ m_v[2] ^ m_v[3];
  }

 private:
  static std::uint64_t load(std::string_view bytes) {
    std::uint64_t word = 0;
    for (std::size_t i = bytes.size(); i-- > 0;)
      word = word << 8 | static_cast<unsigned char>(bytes[i]);
    return word;
  }
  static std::uint64_t rotate(std::uint64_t value, int bits) { return value << bits | value >> (64 - bits); }
  void absorb(std::uint64_t word) {
    m_v[3] ^= word;
    round();
    round();
    m_v[0] ^= word;
  }
  void round() {
    m_v[0] += m_v[1];
    m_v[1] = rotate(m_v[1], 13) ^ m_v[0];
    m_v[0] = rotate(m_v[0], 32);
    m_v[2] += m_v[3];
    m_v[3] = rotate(m_v[3], 16) ^ m_v[2];
    m_v[0] += m_v[3];
    m_v[3] = rotate(m_v[3], 21) ^ m_v[0];
    m_v[2] += m_v[1];
    m_v[1] = rotate(m_v[1], 17) ^ m_v[2];
    m_v[2] = rotate(m_v[2], 32);
  }

  std::uint64_t m_v[4];
};

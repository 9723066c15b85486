// Bytes that are put in at one end and taken out at the other.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

class ByteQueue {
 public:
  bool isEmpty() const { return size() == 0; }
  std::size_t size() const { return m_bytes.size() - m_begin; }
  std::string_view view() const { return std::string_view(m_bytes).substr(m_begin); }

  void append(std::string_view bytes) { m_bytes.append(bytes); }

  // What remains is moved to a place of its own size when it is less than half, so that the cost of a byte is constant
  // and a queue that was long gives its memory back.
  void consume(std::size_t count) {
    m_begin += count;
    if (m_begin == m_bytes.size()) {
      clear();
    } else if (m_begin > m_bytes.size() / 2) {
      m_bytes.erase(0, m_begin);
      m_bytes.shrink_to_fit();
      m_begin = 0;
    }
  }

  // No more than a little memory is kept.
  void clear() {
    m_begin = 0;
    m_bytes.clear();
    if (m_bytes.capacity() > kKeptCapacity) m_bytes.shrink_to_fit();
  }

 private:
  static constexpr std::size_t kKeptCapacity = 4096;

  std::string m_bytes;
  std::size_t m_begin = 0;
};

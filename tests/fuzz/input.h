// The bytes of one input, taken one after the other as numbers, choices and texts. Behind the last one all are 0.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

class Input {
 public:
  Input(const std::uint8_t *data, std::size_t size) : m_next(data), m_end(data + size) {}

  bool atEnd() const { return m_next == m_end; }

  std::uint8_t byte() { return atEnd() ? std::uint8_t{0} : *m_next++; }

  // Below `count`, which is 256 at most.
  std::size_t choice(std::size_t count) { return byte() % count; }

  bool oneIn(std::size_t count) { return choice(count) == count - 1; }

  template <class Number>
  Number number() {
    Number taken{};
    const std::string bytes = this->bytes(sizeof taken);
    std::memcpy(&taken, bytes.data(), bytes.size());
    return taken;
  }

  std::string bytes(std::size_t count) {
    const std::size_t taken = std::min(count, static_cast<std::size_t>(m_end - m_next));
    const std::string bytes(m_next, m_next + taken);
    m_next += taken;
    return bytes;
  }

  // Up to a zero byte, and no longer than this.
  std::string text(std::size_t longest) {
    std::string text;
    while (text.size() < longest) {
      const std::uint8_t next = byte();
      if (next == 0) break;
      text += static_cast<char>(next);
    }
    return text;
  }

 private:
  const std::uint8_t *m_next;
  const std::uint8_t *m_end;
};

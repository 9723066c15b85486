// An array that needs no heap up to a fixed number of elements.
#pragma once

#include <algorithm>
#include <memory>
#include <new>

template <class T, unsigned int InlineCount>
class inline_array {
 public:
  // Makes room for `count` zeroed elements; false when memory does not suffice. Call release() before the next use.
  bool resize(unsigned int count) {
    if (count <= InlineCount) return true;
    m_heap.reset(new (std::nothrow) T[count]());
    return m_heap != nullptr;
  }

  void release() {
    m_heap.reset();
    std::fill_n(m_inline, InlineCount, T{});
  }

  T *data() { return m_heap != nullptr ? m_heap.get() : m_inline; }
  T &operator[](unsigned int index) { return data()[index]; }

 private:
  std::unique_ptr<T[]> m_heap;
  T m_inline[InlineCount] = {};
};

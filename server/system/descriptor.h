// A file descriptor that is closed with its owner.
#pragma once

#include <unistd.h>

#include <utility>

class Descriptor {
 public:
  Descriptor() = default;
  explicit Descriptor(int fd) : m_fd(fd) {}
  Descriptor(Descriptor &&other) noexcept : m_fd(std::exchange(other.m_fd, -1)) {}
  Descriptor &operator=(Descriptor &&other) noexcept {
    std::swap(m_fd, other.m_fd);
    return *this;
  }
  ~Descriptor() { reset(); }

  int get() const { return m_fd; }
  bool isOpen() const { return m_fd >= 0; }

  void reset() {
    if (isOpen()) close(std::exchange(m_fd, -1));
  }

 private:
  int m_fd = -1;
};

// Bytes that end where readable memory ends: whoever reads one byte too many crashes.
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cstring>
#include <stdexcept>
#include <string>

class PageEnd {
 public:
  explicit PageEnd(const std::string &bytes) : size_(bytes.size()), page_(static_cast<std::size_t>(getpagesize())) {
    if (size_ > page_) throw std::length_error("more than a page");
    void *mapped = mmap(nullptr, 2 * page_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (mapped == MAP_FAILED) throw std::bad_alloc();
    memory_ = static_cast<char *>(mapped);
    mprotect(memory_ + page_, page_, PROT_NONE);
    std::memcpy(memory_ + page_ - size_, bytes.data(), size_);
  }
  ~PageEnd() { munmap(memory_, 2 * page_); }
  PageEnd(const PageEnd &) = delete;
  PageEnd &operator=(const PageEnd &) = delete;

  const char *data() const { return memory_ + page_ - size_; }
  unsigned long size() const { return static_cast<unsigned long>(size_); }

 private:
  std::size_t size_;
  std::size_t page_;
  char *memory_;
};

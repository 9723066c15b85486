// Owner of one file descriptor.
#pragma once

#include <unistd.h>

class Descriptor {
 public:
  explicit Descriptor(int number) : number_(number) {}
  ~Descriptor() {
    if (number_ >= 0) close(number_);
  }
  Descriptor(const Descriptor &) = delete;
  Descriptor &operator=(const Descriptor &) = delete;

  int get() const { return number_; }
  bool isOpen() const { return number_ >= 0; }

 private:
  const int number_;
};

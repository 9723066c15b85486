// The accessors that give one column of the current row, as a table.
#pragma once

#include <array>
#include <cstddef>
#include <vector>

#include "query/result_set.h"

struct Accessor {
  const char *name;
  std::size_t outputSize;
  // The same operation, through the exported function and on the set itself. `out` has room for outputSize bytes.
  unsigned int (*exported)(ResultSetInfo *result, unsigned int index, void *out);
  unsigned int (*onSet)(ResultSetInfo *result, unsigned int index, void *out);
};

// Type, NULL flag and length.
const std::vector<Accessor> &descriptionAccessors();
const std::vector<Accessor> &numberAccessors();
// Text and blob, with a buffer of kBytesSize bytes.
const std::vector<Accessor> &bytesAccessors();
constexpr std::size_t kBytesSize = 8;

// All that need a current row: all but the type.
const std::vector<Accessor> &rowAccessors();

// An output that shows which of its bytes were written.
class WatchedOutput {
 public:
  WatchedOutput() { bytes_.fill(kMark); }
  void *get() { return bytes_.data(); }
  // Whether none was written from the byte `first` on.
  bool isUntouched(std::size_t first = 0) const;
  // Whether the first `size` bytes are 0.
  bool isZero(std::size_t size) const;

 private:
  static constexpr unsigned char kMark = 0xA5;
  alignas(16) std::array<unsigned char, 64> bytes_;
};

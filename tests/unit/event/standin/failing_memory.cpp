// operator new that fails on request.
#include <cstdlib>
#include <new>

#include "standin/stand_ins.h"

namespace {

constexpr int kNever = -1;

thread_local int untilFailure = kNever;

// The main thread's first allocations are those of the library, which is loaded before everything else.
bool loading = true;

void countAllocationsWhileLoading() {
  loading = false;
  const char *number = std::getenv(kFailAllocationAtLoad);
  if (number != nullptr) untilFailure = std::atoi(number);
}

}  // namespace

void failAllocation(int others) { untilFailure = others; }

bool allocationHasFailed() {
  const bool failed = untilFailure == kNever;
  untilFailure = kNever;
  return failed;
}

void *operator new(std::size_t size) {
  if (loading) countAllocationsWhileLoading();
  if (untilFailure != kNever && untilFailure-- == 0) throw std::bad_alloc();
  void *memory = std::malloc(size == 0 ? 1 : size);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}

void operator delete(void *memory) noexcept { std::free(memory); }
void operator delete(void *memory, std::size_t) noexcept { std::free(memory); }

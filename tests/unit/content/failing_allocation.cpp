#include "failing_allocation.h"

#include <cstdlib>
#include <new>

namespace {

constexpr int kNoLimit = -1;
thread_local int t_allocationsLeft = kNoLimit;

void *allocate(std::size_t size) noexcept {
  if (t_allocationsLeft == 0) return nullptr;
  if (t_allocationsLeft > 0) --t_allocationsLeft;
  return std::malloc(size != 0 ? size : 1);
}

void *allocateOrThrow(std::size_t size) {
  void *memory = allocate(size);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}

}  // namespace

void grantAllocations(int count) { t_allocationsLeft = count; }
void grantAllAllocations() { t_allocationsLeft = kNoLimit; }

void *operator new(std::size_t size) { return allocateOrThrow(size); }
void *operator new[](std::size_t size) { return allocateOrThrow(size); }
void *operator new(std::size_t size, const std::nothrow_t &) noexcept { return allocate(size); }
void *operator new[](std::size_t size, const std::nothrow_t &) noexcept { return allocate(size); }
void operator delete(void *memory) noexcept { std::free(memory); }
void operator delete[](void *memory) noexcept { std::free(memory); }
void operator delete(void *memory, std::size_t) noexcept { std::free(memory); }
void operator delete[](void *memory, std::size_t) noexcept { std::free(memory); }
void operator delete(void *memory, const std::nothrow_t &) noexcept { std::free(memory); }
void operator delete[](void *memory, const std::nothrow_t &) noexcept { std::free(memory); }

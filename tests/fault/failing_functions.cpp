// The functions that FailingCall makes fail. The allocator is replaced as C++ provides for it; the others are reached
// in place of the C library's because of the linker's option --wrap, and pass the call on when it is not to fail.
#include <cerrno>
#include <cstdlib>
#include <new>

#include "fault/failing_call.h"

namespace {

void *allocate(std::size_t size) noexcept {
  return failsNow(kAllocation) ? nullptr : std::malloc(size != 0 ? size : 1);
}

void *allocateOrThrow(std::size_t size) {
  void *memory = allocate(size);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}

}  // namespace

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

extern "C" {

void *__real_calloc(std::size_t count, std::size_t size);
void *__wrap_calloc(std::size_t count, std::size_t size) {
  return failsNow("calloc") ? nullptr : __real_calloc(count, size);
}

int __real___register_atfork(void (*prepare)(), void (*parent)(), void (*child)(), void *library);
int __wrap___register_atfork(void (*prepare)(), void (*parent)(), void (*child)(), void *library) {
  return failsNow("__register_atfork") ? ENOMEM : __real___register_atfork(prepare, parent, child, library);
}
}

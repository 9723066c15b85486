// The C library's functions, counted on their way; operator new and the client library come here, too.
#include "allocations.h"

namespace {

thread_local std::size_t s_count = 0;

void count() { ++s_count; }

}  // namespace

std::size_t allocations() { return s_count; }

extern "C" {

void *__libc_malloc(std::size_t size);
void *__libc_calloc(std::size_t members, std::size_t size);
void *__libc_realloc(void *memory, std::size_t size);

void *malloc(std::size_t size) {
  count();
  return __libc_malloc(size);
}

void *calloc(std::size_t members, std::size_t size) {
  count();
  return __libc_calloc(members, size);
}

void *realloc(void *memory, std::size_t size) {
  count();
  return __libc_realloc(memory, size);
}
}

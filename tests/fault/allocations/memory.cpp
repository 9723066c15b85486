#include "fault/allocations/memory.h"

#include <atomic>
#include <cstddef>
#include <cstdlib>

#include "support/failing_new.h"

namespace {

std::atomic<long> s_live{0};
bool s_environmentRead = false;

thread_local int t_untilFailure = 0;  // 0: none fails
thread_local bool t_forGood = false;
thread_local bool t_happened = false;

// The first allocation of all comes before there is another thread.
void readEnvironment() {
  s_environmentRead = true;
  const char *nth = std::getenv(kFailAllocationAtLoad);
  if (nth != nullptr) t_untilFailure = std::atoi(nth);
}

bool failsNow() {
  if (!s_environmentRead) readEnvironment();
  if (t_untilFailure == 0) return false;
  if (--t_untilFailure != 0) return false;
  t_happened = true;
  if (t_forGood) t_untilFailure = 1;
  return true;
}

void *counted(void *memory) {
  if (memory != nullptr) ++s_live;
  return memory;
}

}  // namespace

// It asks malloc, which decides.
bool allocationFails() noexcept { return false; }

Shortage::Shortage(int nth, Length length) {
  t_untilFailure = nth;
  t_forGood = length == forGood;
  t_happened = false;
}

Shortage::~Shortage() { t_untilFailure = 0; }

bool Shortage::happened() const { return t_happened; }

long liveAllocations() { return s_live; }

extern "C" {

void *__real_malloc(std::size_t size);
void *__wrap_malloc(std::size_t size) { return failsNow() ? nullptr : counted(__real_malloc(size)); }

void *__real_calloc(std::size_t count, std::size_t size);
void *__wrap_calloc(std::size_t count, std::size_t size) {
  return failsNow() ? nullptr : counted(__real_calloc(count, size));
}

// Leaves the old block alone when it fails.
void *__real_realloc(void *memory, std::size_t size);
void *__wrap_realloc(void *memory, std::size_t size) {
  if (failsNow()) return nullptr;
  void *moved = __real_realloc(memory, size);
  return memory == nullptr ? counted(moved) : moved;
}

void __real_free(void *memory);
void __wrap_free(void *memory) {
  if (memory != nullptr) --s_live;
  __real_free(memory);
}
}

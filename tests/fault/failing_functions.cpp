// The functions that FailingCall makes fail, besides the allocator. They are reached in place of the C library's
// because of the linker's option --wrap, and pass the call on when it is not to fail.
#include <cerrno>
#include <cstddef>

#include "fault/failing_call.h"
#include "support/failing_new.h"

bool allocationFails() noexcept { return failsNow(kAllocation); }

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

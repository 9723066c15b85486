#include "exit_order.h"

#include <array>
#include <cstdio>

#include "core/locks.h"
#include "event/db_event_mgr.h"

namespace {

// Used before any object is made, so nothing here has a constructor.
std::array<StaticObject, kLibraryObjects> s_objects;
std::size_t s_count;
bool s_forkHandlersAreThere;
bool s_reports;
void (*s_callAfterLibrary)();

void callAfterLibrary(void *) {
  if (s_callAfterLibrary != nullptr) s_callAfterLibrary();
}

template <std::size_t number>
void destroy(void *address) {
  s_objects[number].destroy(address);
  if (!s_reports) return;
  std::printf("%zu %d\n", number, s_bMainThreadQuiting ? 1 : 0);
  std::fflush(stdout);
}

constexpr std::array<void (*)(void *), kLibraryObjects> kDestroy = {destroy<0>, destroy<1>, destroy<2>,
                                                                    destroy<3>, destroy<4>, destroy<5>};

bool locksAreThere() {
  return s_pOpenMutex != nullptr && s_pConnInfoLock != nullptr && s_pRawSetPoolMutex != nullptr &&
         s_pStmtSetPoolMutex != nullptr && s_pLogMutex != nullptr;
}

}  // namespace

const StaticObject &libraryObject(std::size_t number) { return s_objects.at(number); }

void reportDestruction() { s_reports = true; }

void setCallAfterLibrary(void (*call)()) { s_callAfterLibrary = call; }

extern "C" {

// What is registered first is called last.
int __real___cxa_atexit(void (*destroy)(void *), void *object, void *dso);
int __wrap___cxa_atexit(void (*destroy)(void *), void *object, void *dso) {
  if (s_count == 0) __real___cxa_atexit(callAfterLibrary, nullptr, dso);
  if (s_count == kLibraryObjects) return __real___cxa_atexit(destroy, object, dso);
  s_objects[s_count] = {object, destroy, locksAreThere(), s_forkHandlersAreThere};
  return __real___cxa_atexit(kDestroy[s_count++], object, dso);
}

// On 32-bit Arm compilers call this one, with the arguments the other way round.
int __wrap___aeabi_atexit(void *object, void (*destroy)(void *), void *dso) {
  return __wrap___cxa_atexit(destroy, object, dso);
}

int __real___register_atfork(void (*prepare)(), void (*parent)(), void (*child)(), void *dso);
int __wrap___register_atfork(void (*prepare)(), void (*parent)(), void (*child)(), void *dso) {
  s_forkHandlersAreThere = true;
  return __real___register_atfork(prepare, parent, child, dso);
}
}

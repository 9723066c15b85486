#include "exit_hooks.h"

#include <cstdlib>

#include "core/load_order.h"

void (*beforeTheManagerEnds)();
void (*afterTheManager)();

namespace {

// Before the library, at a number of the implementation's, which has nothing there.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wprio-ctor-dtor"
ORV_RUN_AT_LOAD(kLoadInitializer - 1) void registerTheLastHook() {
  std::atexit([] {
    if (afterTheManager != nullptr) afterTheManager();
  });
}
#pragma GCC diagnostic pop

struct HookBeforeTheManager {
  ~HookBeforeTheManager() {
    if (beforeTheManagerEnds != nullptr) beforeTheManagerEnds();
  }
};
// Created after the manager, but before what tells that the exit has begun.
HookBeforeTheManager hookBeforeTheManager ORV_LOADED(kLoadInitializer + 1);

}  // namespace

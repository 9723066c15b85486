// A record of the static objects that register their destruction while this program is loaded; see the linker's option
// --wrap in CMakeLists.txt. The library's come first, so the first ones are the library's.
#pragma once

#include <cstddef>

struct StaticObject {
  const void *address;
  void (*destroy)(void *);
  bool locksWereThere;         // had the process-wide locks been made by then?
  bool forkHandlersWereThere;  // had the fork handlers been registered?
};

constexpr std::size_t kLibraryObjects = 6;
const StaticObject &libraryObject(std::size_t number);

// At exit each of the library's objects is reported, as "number quitting", when its turn has come and gone.
void reportDestruction();

// Called at exit after everything of the library.
void setCallAfterLibrary(void (*call)());

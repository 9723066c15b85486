// How much of everything.
#pragma once

#include <cstdlib>
#include <string>

// A number from the environment: script/stress, script/restart-test and script/cut-test ask for more than ctest does,
// and in an emulator it is less.
inline int countFromEnvironment(const char *name, int otherwise) {
  const char *value = std::getenv(name);
  return value != nullptr ? std::stoi(value) : otherwise;
}

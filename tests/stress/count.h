// How much of everything.
#pragma once

#include <cstdlib>
#include <string>

// A number from the environment, by which script/stress asks for more than ctest does.
inline int countFromEnvironment(const char *name, int otherwise) {
  const char *value = std::getenv(name);
  return value != nullptr ? std::stoi(value) : otherwise;
}

// What the server gives its clients at most.
#pragma once

#include <cstddef>

struct Limits {
  std::size_t queueBytes = 256UL * 1024;             // unsent changes of one connection
  std::size_t totalQueueBytes = 16UL * 1024 * 1024;  // of all together, and of changes in transit
  std::size_t keysOfConnection = 200'000;            // that it may register
  std::size_t keys = 200'000;                        // of all together
};

// How often this process has asked for memory.
#pragma once

#include <cstddef>

std::size_t allocations();

// How often this thread has asked for memory. The works are timed while it is counted, so it costs next to nothing.
#pragma once

#include <cstddef>

std::size_t allocations();

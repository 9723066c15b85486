// Deadlines for the waits of POSIX, which are points in time of the real-time clock.
#pragma once

#include <ctime>

// Where the clock is beyond what a time holds, reading it fails, and every wait would be over at once. This header is
// there if the C library has the longer type, which 32-bit systems have to ask for.
#if __has_include(<features-time64.h>)
static_assert(sizeof(time_t) == 8, "without _TIME_BITS=64 registrations fail from January 2038 on");
#endif

inline timespec deadlineAfter(time_t seconds) {
  timespec deadline{};
  clock_gettime(CLOCK_REALTIME, &deadline);
  deadline.tv_sec += seconds;
  return deadline;
}

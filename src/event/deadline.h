// Deadlines for the waits of POSIX, which are points in time of the real-time clock.
#pragma once

#include <ctime>

inline timespec deadlineAfter(time_t seconds) {
  timespec deadline{};
  clock_gettime(CLOCK_REALTIME, &deadline);
  deadline.tv_sec += seconds;
  return deadline;
}

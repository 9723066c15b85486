// Room for the descriptors of a thousand connections, for this process and those that it starts.
#pragma once

#include <sys/resource.h>

inline void raiseDescriptorLimit() {
  rlimit limit{};
  getrlimit(RLIMIT_NOFILE, &limit);
  limit.rlim_cur = limit.rlim_max;
  setrlimit(RLIMIT_NOFILE, &limit);
}

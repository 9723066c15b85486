// The memory that a process has at a moment.
#pragma once

#include <sys/types.h>
#include <unistd.h>

#include <fstream>
#include <stdexcept>
#include <string>

inline double residentBytes(pid_t pid) {
  std::ifstream file("/proc/" + std::to_string(pid) + "/statm");
  double whole = 0;
  double resident = 0;
  if (!(file >> whole >> resident)) throw std::runtime_error("cannot read the memory of a process");
  return resident * static_cast<double>(sysconf(_SC_PAGESIZE));
}

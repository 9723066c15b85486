// Looking at other processes.
#pragma once

#include <sys/types.h>

#include <fstream>
#include <string>

// Whether the process is there and has not ended: one that has ended, but whose status nobody has collected, does not
// run any more.
inline bool isRunning(pid_t pid) {
  std::ifstream file("/proc/" + std::to_string(pid) + "/stat");
  std::string stat;
  if (!std::getline(file, stat)) return false;
  // The state comes after the name, which may itself contain anything.
  return stat.at(stat.rfind(')') + 2) != 'Z';
}

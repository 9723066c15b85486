// What the system tells of a process's signals, or of a thread's.
#pragma once

#include <fstream>
#include <set>
#include <string>

// Those in a line such as "SigBlk:\tfffffffe3bfab827" of a file such as /proc/PID/status.
inline std::set<int> signalsIn(const std::string &statusFile, const std::string &field) {
  std::ifstream file(statusFile);
  std::set<int> signals;
  for (std::string line; std::getline(file, line);) {
    if (line.rfind(field, 0) != 0) continue;
    const unsigned long long mask = std::stoull(line.substr(field.size()), nullptr, 16);
    for (int signal = 1; signal <= 64; ++signal) {
      if ((mask >> (signal - 1) & 1) != 0) signals.insert(signal);
    }
  }
  return signals;
}

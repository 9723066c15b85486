// orvdb watch: prints each change as it arrives.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

struct WatchOptions {
  std::string database;
  std::vector<std::string> tables;
  unsigned int actions = 7;
  bool isJson = false;
  std::optional<unsigned long long> count;               // ends after so many changes
  std::optional<std::chrono::duration<double>> timeout;  // ends after this time
};

int watch(const WatchOptions &options);

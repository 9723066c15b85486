// orvdb notify: announces a change that was made by other means.
#pragma once

#include <optional>
#include <string>

struct NotifyOptions {
  std::string database;
  std::string table;
  unsigned int actions = 0;
  std::optional<unsigned long long> rowId;  // none: the whole table if all actions are announced, else an unknown row
};

int notify(const NotifyOptions &options);

// orvdb sql: runs a statement.
#pragma once

#include <string>
#include <vector>

#include "database/connection.h"
#include "terminal/output.h"

struct SqlOptions {
  ConnectionOptions connection;
  std::string text;  // "-": from standard input
  Format format = Format::kTable;
  std::vector<std::string> announcedTables;
};

int sql(const SqlOptions &options);

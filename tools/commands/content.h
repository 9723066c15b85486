// The columns of a write, from the command line.
#pragma once

#include "commands/write.h"
#include "database/owners.h"

struct Content {
  Values values;
  std::size_t textBytes;  // what names and placeholders take of an update's text
};

// Throws WrongUsage for what names no column, and a column that is named twice.
Content readContent(const WriteOptions &options);

// What the loader and the checker have in common: where the database is, which tables it has, how rows are read.
#pragma once

#include <string>
#include <vector>

#include "orvdb_owners.h"

struct Table {
  const char *name;
  std::vector<const char *> columns;  // the row id first; integers, but for the last one, a text
};

inline const Table kVendors{"vendors", {"_id", "code", "name"}};
inline const Table kDevices{"devices", {"_id", "vendor_id", "code", "name"}};

// Opens a database of the server that `connectionFile` describes in lines HOST=, PORT=, USER= and PASSWORD=. An empty
// `database` opens the server without choosing one.
Handle openDatabase(const std::string &connectionFile, const std::string &database);

// Runs a statement and returns its rows, if it has any.
Result rawQuery(const Handle &handle, const std::string &sql);

// Makes the next row current; false when there is none.
bool step(const Result &result);

long long integerColumn(const Result &result, unsigned int column);
std::string textColumn(const Result &result, unsigned int column);

// What the loader and the checker have in common: where the database is and which tables it has.
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

// A table with as many columns of whole numbers as wanted, written and read with the library or with the client library
// alone. Failures are thrown.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "frame/record_socket.h"
#include "support/database_server.h"

class WideTable {
 public:
  virtual ~WideTable() = default;
  // A row with a number in each column.
  virtual void insert() = 0;
  // The sum of all columns of the table's rows.
  virtual long long sum() = 0;
};

struct WideColumns {
  explicit WideColumns(std::size_t count);

  std::string table;
  std::vector<std::string> names;
};

std::unique_ptr<WideTable> openWideWithLibrary(const DatabaseServer &server, const std::string &db,
                                               const WideColumns &columns);
std::unique_ptr<WideTable> openWideByHand(const DatabaseServer &server, const std::string &db,
                                          const WideColumns &columns, const RecordSocket &listener);

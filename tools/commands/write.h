// orvdb insert, update, delete: writes that the library announces.
#pragma once

#include <string>
#include <vector>

#include "database/connection.h"
#include "terminal/output.h"

struct WriteOptions {
  ConnectionOptions connection;
  std::string table;
  std::vector<std::string> values;  // COL=VALUE
  std::vector<std::string> nulls;   // COL
  std::vector<std::string> blobs;   // COL=@FILE
  std::string where;
  std::vector<std::string> params;
  bool isForAllRows = false;
  Format format = Format::kTable;
};

int insertRow(const WriteOptions &options);
int updateRows(const WriteOptions &options);
int deleteRows(const WriteOptions &options);

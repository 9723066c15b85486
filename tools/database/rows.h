// The rows of a result, one after the other.
#pragma once

#include <orvdb_client.h>

#include <optional>
#include <string>
#include <vector>

struct Column {
  std::string name;
  _orv_db_type_t type;

  bool isInteger() const { return type >= ORV_DB_TYPE_CHAR && type <= ORV_DB_TYPE_INT64; }
  bool isNumeric() const { return type >= ORV_DB_TYPE_CHAR && type <= ORV_DB_TYPE_DOUBLE; }
};

// The server's bytes; none for NULL.
using Field = std::optional<std::string>;

class Rows {
 public:
  // Of a raw query: its fields are texts, whatever their type.
  explicit Rows(ResultSetInfo *result);

  const std::vector<Column> &columns() const { return columns_; }
  // False when there are no more.
  bool next();
  Field field(std::size_t index) const;

 private:
  ResultSetInfo *const result_;
  std::vector<Column> columns_;
};

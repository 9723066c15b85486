#include "database/rows.h"

#include <algorithm>

#include "exit_status.h"
#include "statuses.h"

Rows::Rows(ResultSetInfo *result) : result_(result) {
  const auto count = static_cast<unsigned int>(orv_db_result_column_count(result));
  for (unsigned int i = 0; i < count; ++i) {
    _orv_db_type_t type = ORV_DB_TYPE_UNKNOWN;
    orv_db_result_column_type(result, i, &type);
    columns_.push_back({orv_db_result_column_name(result, i), type});
  }
}

bool Rows::next() {
  const unsigned int status = orv_db_result_step(result_);
  if (status != ORV_DB_ROW && status != ORV_DB_DONE) throw Failure("cannot read a row: " + statementProblem(status));
  return status == ORV_DB_ROW;
}

Field Rows::field(std::size_t index) const {
  const auto column = static_cast<unsigned int>(index);
  int isNull = 0;
  unsigned long bytes = 0;
  orv_db_result_column_is_null(result_, column, &isNull);
  if (isNull != 0) return std::nullopt;
  orv_db_result_column_bytes(result_, column, &bytes);
  std::vector<unsigned char> buffer(std::max(bytes, 1UL));  // there is no getter for a buffer of none
  orv_db_result_column_blob(result_, column, buffer.data(), buffer.size());
  return std::string(buffer.begin(), buffer.begin() + static_cast<std::ptrdiff_t>(bytes));
}

// Parameters of statements.
#pragma once

#include <orvdb_client.h>

#include <string_view>

inline _orv_db_param_t intParam(int value) {
  _orv_db_param_t param{};
  param.type = ORV_DB_TYPE_INT;
  param.value.i = value;
  return param;
}

// Of a row.
inline _orv_db_param_t idParam(unsigned long long id) {
  _orv_db_param_t param{};
  param.type = ORV_DB_TYPE_INT64;
  param.is_unsigned = 1;
  param.value.i64 = static_cast<long long>(id);
  return param;
}

// The text has to outlive the parameter.
inline _orv_db_param_t textParam(std::string_view text) {
  _orv_db_param_t param{};
  param.type = ORV_DB_TYPE_TEXT;
  param.length = static_cast<unsigned long>(text.size());
  param.value.data = text.data();
  return param;
}

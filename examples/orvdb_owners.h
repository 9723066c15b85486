// Owners for what the library hands out, and its statuses as exceptions.
#pragma once

#include <orvdb_client.h>

#include <memory>
#include <stdexcept>
#include <string>

template <auto release>
struct Releaser {
  template <class T>
  void operator()(T *object) const {
    release(object);
  }
};

using Handle = std::unique_ptr<_orv_db_handle_t, Releaser<orv_db_close>>;
using Result = std::unique_ptr<ResultSetInfo, Releaser<orv_db_free_result>>;
using Values = std::unique_ptr<_orv_db_content_values_t, Releaser<orv_db_free_content_values>>;

// Throws unless `status` is ORV_DB_OK. `action` says what was tried.
template <class Status>
void check(Status status, const std::string &action) {
  if (static_cast<int>(status) == ORV_DB_OK) return;
  throw std::runtime_error(action + ": status " + std::to_string(status) + " " + orv_db_get_error_str());
}

inline Values newValues() { return Values{orv_db_get_content_values()}; }

inline _orv_db_param_t uint64Param(unsigned long long value) {
  _orv_db_param_t param{};
  param.type = ORV_DB_TYPE_INT64;
  param.is_unsigned = 1;
  param.value.i64 = static_cast<long long>(value);
  return param;
}

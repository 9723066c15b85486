// What the C++ examples share: owners for what the library hands out, its statuses as exceptions, rows as C++ values.
#pragma once

#include <orvdb_client.h>

#include <cstdlib>
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

// Opens a database. The password is that of the environment variable MYSQL_PWD: everybody on the machine can read the
// arguments of a program. The port is that of MYSQL_TCP_PORT, or the usual one.
inline Handle openDatabase(const char *host, const char *user, const char *database) {
  Handle handle(orv_db_open(host, user, std::getenv("MYSQL_PWD"), database, 0));
  if (!handle) throw std::runtime_error(std::string("open ") + database + ": " + orv_db_get_error_str());
  return handle;
}

inline Values newValues() { return Values{orv_db_get_content_values()}; }

inline _orv_db_param_t uint64Param(unsigned long long value) {
  _orv_db_param_t param{};
  param.type = ORV_DB_TYPE_INT64;
  param.is_unsigned = 1;
  param.value.i64 = static_cast<long long>(value);
  return param;
}

// The text has to live as long as the parameter.
inline _orv_db_param_t textParam(const std::string &text) {
  _orv_db_param_t param{};
  param.type = ORV_DB_TYPE_TEXT;
  param.length = text.size();
  param.value.data = text.data();
  return param;
}

// Runs a statement and returns its rows, if it has any.
inline Result rawQuery(const Handle &handle, const std::string &sql) {
  ResultSetInfo *rows = nullptr;
  check(orv_db_raw_query(handle.get(), sql.data(), sql.size(), &rows), sql);
  return Result(rows);
}

// Makes the next row current; false when there is none.
inline bool step(const Result &result) {
  const unsigned int status = orv_db_result_step(result.get());
  if (status != ORV_DB_ROW && status != ORV_DB_DONE) check(status, "step");
  return status == ORV_DB_ROW;
}

inline long long integerColumn(const Result &result, unsigned int column) {
  long long value = 0;
  check(orv_db_result_column_int64(result.get(), column, &value), "read an integer");
  return value;
}

inline unsigned long long rowIdColumn(const Result &result, unsigned int column) {
  unsigned long long value = 0;
  check(orv_db_result_column_uint64(result.get(), column, &value), "read a row id");
  return value;
}

inline std::string textColumn(const Result &result, unsigned int column) {
  unsigned long bytes = 0;
  check(orv_db_result_column_bytes(result.get(), column, &bytes), "read a text's length");
  std::string text(bytes + 1, '\0');  // the getter writes a NUL behind the text
  check(orv_db_result_column_text(result.get(), column, text.data(), text.size()), "read a text");
  text.resize(bytes);
  return text;
}

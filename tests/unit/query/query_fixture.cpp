#include "unit/query/query_fixture.h"

#include <stdexcept>

QueryAnswer runRaw(_orv_db_handle_t *handle, const std::string &sql) {
  ResultSetInfo *rows = nullptr;
  const unsigned int status = orv_db_raw_query(handle, sql.data(), sql.size(), &rows);
  return {status, Result(rows)};
}

QueryAnswer runSelect(_orv_db_handle_t *handle, const Select &select) {
  std::vector<const char *> columns = select.columns;
  ResultSetInfo *rows = nullptr;
  const unsigned int status =
      orv_db_query(handle, select.table, columns.data(), static_cast<unsigned int>(columns.size()), select.where,
                   select.params.data(), static_cast<unsigned int>(select.params.size()), select.orderBy, &rows);
  return {status, Result(rows)};
}

QueryTest::QueryTest() : handle_(openHandle(*this)) {
  if (handle_ == nullptr) throw std::runtime_error(orv_db_get_error_str());
}

std::string QueryTest::value(const std::string &sql) const {
  const QueryAnswer answer = raw(sql);
  if (orv_db_result_step(answer.rows.get()) != ORV_DB_ROW) throw std::runtime_error("no row from " + sql);
  return textOf(answer.rows.get());
}

int QueryTest::sessionCount(const std::string &command) const {
  return std::stoi(
      value("SELECT variable_value FROM information_schema.session_status WHERE variable_name = '" + command + "'"));
}

std::string nameOf(Kind kind) { return kind == Kind::raw ? "RawQuery" : "Query"; }

void PrintTo(Kind kind, std::ostream *out) { *out << nameOf(kind); }

Result selectAs(Kind kind, _orv_db_handle_t *handle, const char *columns, const char *from) {
  QueryAnswer answer = kind == Kind::raw ? runRaw(handle, std::string("SELECT ") + columns + " FROM " + from)
                                         : runSelect(handle, {from, {columns}});
  if (answer.status != ORV_DB_OK || answer.rows == nullptr) {
    throw std::runtime_error(std::string("no rows from ") + from + ": " + orv_db_get_error_str());
  }
  return std::move(answer.rows);
}

Result BothKindsTest::onlyRow(const char *columns, const char *from) const {
  Result result = select(columns, from);
  EXPECT_EQ(orv_db_result_row_count(result.get()), 1);
  EXPECT_EQ(orv_db_result_step(result.get()), static_cast<unsigned int>(ORV_DB_ROW));
  return result;
}

std::string textOf(ResultSetInfo *result, unsigned int column) {
  std::string text(1U << 16, '\0');
  const unsigned int status = orv_db_result_column_text(result, column, text.data(), text.size());
  if (status != ORV_DB_OK) throw std::runtime_error("status " + std::to_string(status) + " instead of a text");
  return text.substr(0, text.find('\0'));
}

std::string bytesOf(ResultSetInfo *result, unsigned int column) {
  unsigned long length = 0;
  orv_db_result_column_bytes(result, column, &length);
  std::string bytes(length + 1, '\0');
  const unsigned int status =
      orv_db_result_column_blob(result, column, reinterpret_cast<unsigned char *>(bytes.data()), bytes.size());
  if (status != ORV_DB_OK) throw std::runtime_error("status " + std::to_string(status) + " instead of bytes");
  return bytes.substr(0, length);
}

int intOf(ResultSetInfo *result, unsigned int column) {
  int number = 0;
  const unsigned int status = orv_db_result_column_int(result, column, &number);
  if (status != ORV_DB_OK) throw std::runtime_error("status " + std::to_string(status) + " instead of a number");
  return number;
}

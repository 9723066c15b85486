#include "demo_database.h"

#include <fstream>
#include <map>

namespace {

using Settings = std::map<std::string, std::string>;

Settings readSettings(const std::string &path) {
  std::ifstream file(path);
  Settings settings;
  for (std::string line; std::getline(file, line);) {
    const std::size_t equals = line.find('=');
    if (equals != std::string::npos) settings[line.substr(0, equals)] = line.substr(equals + 1);
  }
  if (settings.count("HOST") == 0 || settings.count("PORT") == 0) throw std::runtime_error(path + ": no HOST and PORT");
  return settings;
}

}  // namespace

Handle openDatabase(const std::string &connectionFile, const std::string &database) {
  Settings server = readSettings(connectionFile);
  Handle handle(orv_db_open(server["HOST"].c_str(), server["USER"].c_str(), server["PASSWORD"].c_str(),
                            database.c_str(), static_cast<unsigned int>(std::stoul(server["PORT"]))));
  if (!handle) throw std::runtime_error("open " + database + ": " + orv_db_get_error_str());
  rawQuery(handle, "SET NAMES utf8mb4");
  return handle;
}

Result rawQuery(const Handle &handle, const std::string &sql) {
  ResultSetInfo *rows = nullptr;
  check(orv_db_raw_query(handle.get(), sql.data(), sql.size(), &rows), sql);
  return Result(rows);
}

bool step(const Result &result) {
  const unsigned int status = orv_db_result_step(result.get());
  if (status != ORV_DB_ROW && status != ORV_DB_DONE) check(status, "step");
  return status == ORV_DB_ROW;
}

long long integerColumn(const Result &result, unsigned int column) {
  long long value = 0;
  check(orv_db_result_column_int64(result.get(), column, &value), "read an integer");
  return value;
}

std::string textColumn(const Result &result, unsigned int column) {
  unsigned long bytes = 0;
  check(orv_db_result_column_bytes(result.get(), column, &bytes), "read a text's length");
  std::string text(bytes + 1, '\0');  // the getter writes a NUL behind the text
  check(orv_db_result_column_text(result.get(), column, text.data(), text.size()), "read a text");
  text.resize(bytes);
  return text;
}

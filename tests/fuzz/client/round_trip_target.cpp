// One column for each put function: the input says which of them a row has, and their values.
#include <orvdb_client.h>

#include <array>
#include <cmath>
#include <cstring>

#include "fuzz/broken.h"
#include "fuzz/client/values.h"
#include "fuzz/targets.h"
#include "support/database.h"
#include "support/owners.h"
#include "support/params.h"

namespace {

constexpr std::size_t kLongestBytes = 200;

constexpr std::array<const char *, kValueKinds> kTypes = {
    "INT",    "TINYINT",      "TINYINT UNSIGNED", "SMALLINT",        "SMALLINT UNSIGNED",
    "INT",    "INT UNSIGNED", "BIGINT",           "BIGINT UNSIGNED", "FLOAT",
    "DOUBLE", "LONGBLOB",     "LONGBLOB"};

std::string columnOf(std::size_t kind) { return "c" + std::to_string(kind); }

// The database has no room for what is no number.
void makeFinite(Value &value) {
  float single;
  double number;
  std::memcpy(&single, &value.bits, sizeof single);
  std::memcpy(&number, &value.bits, sizeof number);
  const bool isFinite = value.kind == 9 ? std::isfinite(single) : std::isfinite(number);
  if ((value.kind == 9 || value.kind == 10) && !isFinite) value.bits = 0;
}

template <class Number, class Getter>
std::string bytesGot(Getter getter, ResultSetInfo *result, unsigned int column) {
  Number number;
  mustHold(getter(result, column, &number) == ORV_DB_OK, "a number can be read");
  return {reinterpret_cast<const char *>(&number), sizeof number};
}

std::string blobGot(ResultSetInfo *result, unsigned int column) {
  std::array<unsigned char, kLongestBytes + 1> bytes{};
  unsigned long length = 0;
  mustHold(orv_db_result_column_bytes(result, column, &length) == ORV_DB_OK, "a length can be read");
  mustHold(orv_db_result_column_blob(result, column, bytes.data(), bytes.size()) == ORV_DB_OK, "a blob can be read");
  return {reinterpret_cast<const char *>(bytes.data()), length};
}

std::string got(ResultSetInfo *result, std::size_t kind) {
  const auto column = static_cast<unsigned int>(kind);
  switch (kind) {
    case 1:
      return bytesGot<char>(orv_db_result_column_char, result, column);
    case 2:
      return bytesGot<unsigned char>(orv_db_result_column_uchar, result, column);
    case 3:
      return bytesGot<short>(orv_db_result_column_short_int, result, column);
    case 4:
      return bytesGot<unsigned short>(orv_db_result_column_short_uint, result, column);
    case 5:
      return bytesGot<int>(orv_db_result_column_int, result, column);
    case 6:
      return bytesGot<unsigned int>(orv_db_result_column_uint, result, column);
    case 7:
      return bytesGot<long long>(orv_db_result_column_int64, result, column);
    case 8:
      return bytesGot<unsigned long long>(orv_db_result_column_uint64, result, column);
    case 9:
      return bytesGot<float>(orv_db_result_column_float, result, column);
    case 10:
      return bytesGot<double>(orv_db_result_column_double, result, column);
    default:
      return blobGot(result, column);
  }
}

class Table {
 public:
  Table() : m_server(databaseServer()) {
    AdminConnection admin(m_server);
    std::string columns = "_id BIGINT PRIMARY KEY AUTO_INCREMENT";
    for (std::size_t kind = 0; kind < kTypes.size(); ++kind)
      columns += ", " + columnOf(kind) + ' ' + kTypes[kind];
    admin.query("CREATE OR REPLACE DATABASE fuzzed");
    admin.query("CREATE TABLE fuzzed.items (" + columns + ')');
    m_handle.reset(
        orv_db_open(m_server.host.c_str(), m_server.user.c_str(), m_server.password.c_str(), "fuzzed", m_server.port));
    if (m_handle == nullptr) throw std::runtime_error("the database can't be opened");
  }

  unsigned long long add(const _orv_db_content_values_t *content) {
    unsigned long long id = 0;
    const int status = orv_db_insert(m_handle.get(), "items", content, nullptr, &id);
    mustHold(status == ORV_DB_OK, std::string("a row can be added: ") + orv_db_get_error_str());
    return id;
  }

  Result row(unsigned long long id) {
    const _orv_db_param_t param = idParam(id);
    static std::array<std::string, kValueKinds> names;
    static std::array<const char *, kValueKinds> columns;
    for (std::size_t kind = 0; kind < kValueKinds; ++kind) {
      names[kind] = columnOf(kind);
      columns[kind] = names[kind].c_str();
    }
    ResultSetInfo *result = nullptr;
    mustHold(orv_db_query(m_handle.get(), "items", columns.data(), columns.size(), "_id=?", &param, 1, nullptr,
                          &result) == ORV_DB_OK,
             "the row can be asked for");
    mustHold(orv_db_result_step(result) == ORV_DB_ROW, "the row is there");
    return Result(result);
  }

  void remove(unsigned long long id) {
    const _orv_db_param_t param = idParam(id);
    unsigned long long rows = 0;
    mustHold(orv_db_delete(m_handle.get(), "items", "_id=?", &param, 1, &rows) == ORV_DB_OK && rows == 1,
             "the row can be deleted");
  }

 private:
  DatabaseServer m_server;
  Handle m_handle;
};

}  // namespace

void playRoundTrip(const std::uint8_t *data, std::size_t size) {
  static auto &table = *new Table;  // used until the process ends
  Input input(data, size);
  const ContentValues content(orv_db_get_content_values());
  std::array<std::string, kValueKinds> stored;
  std::array<bool, kValueKinds> isNull{};
  for (std::size_t kind = 0; kind < kValueKinds; ++kind) {
    isNull[kind] = kind == 0 || input.oneIn(4);
    Value value = readValue(input, isNull[kind] ? 0 : kind, kLongestBytes);
    makeFinite(value);
    mustHold(put(content.get(), columnOf(kind), value) == ORV_DB_OK, "a value can be put");
    stored[kind] = bindOf(value).bytes;
  }

  const unsigned long long id = table.add(content.get());
  const Result row = table.row(id);
  for (std::size_t kind = 0; kind < kValueKinds; ++kind) {
    int null = 0;
    mustHold(orv_db_result_column_is_null(row.get(), static_cast<unsigned int>(kind), &null) == ORV_DB_OK,
             "NULL can be told");
    mustHold((null != 0) == isNull[kind], columnOf(kind) + " is NULL if nothing was put there");
    if (!isNull[kind]) mustBeEqual(got(row.get(), kind), stored[kind], columnOf(kind));
  }
  table.remove(id);
}

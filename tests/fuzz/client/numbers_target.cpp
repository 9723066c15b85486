// The lines of the input are the columns of one row.
#include <orvdb_client.h>

#include <array>
#include <cstdio>
#include <cstring>
#include <vector>

#include "fault/client_library.h"
#include "fuzz/broken.h"
#include "fuzz/client/numbers.h"
#include "fuzz/client/numbers_format.h"
#include "fuzz/input.h"
#include "fuzz/targets.h"
#include "support/owners.h"

NumberTexts (*numbersOnTarget)(const std::string &text) = nullptr;

namespace {

constexpr std::size_t kMostColumns = 40;
constexpr std::size_t kLongestText = 100;

std::vector<std::string> columnsOf(const std::uint8_t *data, std::size_t size) {
  std::vector<std::string> columns(1);
  for (const std::uint8_t *next = data; next != data + size; ++next) {
    if (*next == '\n' && columns.size() < kMostColumns) {
      columns.emplace_back();
    } else if (*next != 0 && columns.back().size() < kLongestText) {
      columns.back() += static_cast<char>(*next);
    }
  }
  return columns;
}

template <class Number, class Getter>
Number got(Getter getter, ResultSetInfo *result, unsigned int column) {
  Number number;
  std::memset(&number, 0xa5, sizeof number);
  mustHold(getter(result, column, &number) == ORV_DB_OK, "every text is some number");
  return number;
}

template <class Bits, class Number, class Getter>
Bits bitsGot(Getter getter, ResultSetInfo *result, unsigned int column) {
  const auto number = got<Number>(getter, result, column);
  Bits bits{};
  std::memcpy(&bits, &number, sizeof number);
  return bits;
}

NumberTexts numbersGot(ResultSetInfo *result, unsigned int column) {
  std::array<char, 256> line{};
  const auto narrow = [&](auto getter, auto example) {
    return bitsGot<unsigned int, decltype(example)>(getter, result, column);
  };
  const auto wide = [&](auto getter, auto example) {
    return bitsGot<unsigned long long, decltype(example)>(getter, result, column);
  };
  std::snprintf(line.data(), line.size(), ORVDB_NUMBERS_FORMAT, narrow(orv_db_result_column_char, char{}),
                narrow(orv_db_result_column_uchar, static_cast<unsigned char>(0)),
                narrow(orv_db_result_column_short_int, short{}),
                narrow(orv_db_result_column_short_uint, static_cast<unsigned short>(0)),
                narrow(orv_db_result_column_int, 0), narrow(orv_db_result_column_uint, 0U),
                wide(orv_db_result_column_int64, 0LL), wide(orv_db_result_column_uint64, 0ULL),
                narrow(orv_db_result_column_float, 0.0F), wide(orv_db_result_column_double, 0.0));
  return line.data();
}

}  // namespace

void playNumbers(const std::uint8_t *data, std::size_t size) {
  const std::vector<std::string> columns = columnsOf(data, size);
  client().script.columns.assign(columns.size(), {"number", MYSQL_TYPE_VAR_STRING});
  client().script.rows.assign(1, {});
  for (const std::string &column : columns)
    client().script.rows.front().push_back(column.c_str());
  client().script.storesResult = true;

  const Handle handle(orv_db_open("host", "user", "secret", "db", 0));
  ResultSetInfo *result = nullptr;
  mustHold(orv_db_raw_query(handle.get(), "SELECT", 6, &result) == ORV_DB_OK, "the query gives rows");
  const Result freed(result);
  mustHold(orv_db_result_step(result) == ORV_DB_ROW, "there is a row");
  for (unsigned int i = 0; i < columns.size(); ++i) {
    const NumberTexts numbers = numbersGot(result, i);
    mustBeEqual(numbers, modelledNumbers(columns[i]), "by the model, " + shown(columns[i]));
    if (numbersOnTarget != nullptr)
      mustBeEqual(numbers, numbersOnTarget(columns[i]), "on the target, " + shown(columns[i]));
  }
  client().script = {};
  client().executed.clear();
}

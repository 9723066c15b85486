// A map of the standard library with the values of columns.h, of the kinds that content values have.
#pragma once

#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "columns.h"

struct PlainValue {
  int type = 0;
  bool isUnsigned = false;
  decltype(_orv_db_param_t::value) number{};
  std::vector<char> bytes;
};
using PlainContainer = std::map<std::string, PlainValue>;

inline PlainValue textValue(const char *text) {
  return {ORV_DB_TYPE_TEXT, false, {}, std::vector<char>(text, text + std::strlen(text))};
}

inline PlainValue intValue(int number) {
  PlainValue value{ORV_DB_TYPE_INT, false, {}, {}};
  value.number.i = number;
  return value;
}

inline PlainValue int64Value(long long number) {
  PlainValue value{ORV_DB_TYPE_INT64, false, {}, {}};
  value.number.i64 = number;
  return value;
}

inline PlainValue doubleValue(double number) {
  PlainValue value{ORV_DB_TYPE_DOUBLE, false, {}, {}};
  value.number.d = number;
  return value;
}

inline void fill(PlainContainer &map) {
  for (const TextColumn &column : kTexts)
    map.insert_or_assign(column.name, textValue(column.value));
  for (const char *name : kIntNames)
    map.insert_or_assign(name, intValue(kInt));
  for (const char *name : kInt64Names)
    map.insert_or_assign(name, int64Value(kInt64));
  map.insert_or_assign(kDoubleName, doubleValue(kDouble));
}

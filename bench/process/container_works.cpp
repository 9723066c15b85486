// Content values of 10 columns, beside a map of the standard library with values of the same kind.
#include <benchmark/benchmark.h>

#include <cstring>
#include <map>

#include "columns.h"
#include "works.h"

namespace {

struct Value {
  int type = 0;
  bool isUnsigned = false;
  decltype(_orv_db_param_t::value) number{};
  std::vector<char> bytes;
};
using Map = std::map<std::string, Value>;

Value textValue(const char *text) {
  return {ORV_DB_TYPE_TEXT, false, {}, std::vector<char>(text, text + std::strlen(text))};
}

Value intValue(int number) {
  Value value{ORV_DB_TYPE_INT, false, {}, {}};
  value.number.i = number;
  return value;
}

Value int64Value(long long number) {
  Value value{ORV_DB_TYPE_INT64, false, {}, {}};
  value.number.i64 = number;
  return value;
}

Value doubleValue(double number) {
  Value value{ORV_DB_TYPE_DOUBLE, false, {}, {}};
  value.number.d = number;
  return value;
}

void fill(Map &map) {
  for (const TextColumn &column : kTexts)
    map.insert_or_assign(column.name, textValue(column.value));
  for (const char *name : kIntNames)
    map.insert_or_assign(name, intValue(kInt));
  for (const char *name : kInt64Names)
    map.insert_or_assign(name, int64Value(kInt64));
  map.insert_or_assign(kDoubleName, doubleValue(kDouble));
}

void fillAnew(std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) {
    const ContentValues content(orv_db_get_content_values());
    fill(content.get());
    benchmark::DoNotOptimize(content.get());
  }
}

void fillAnewPlainly(std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) {
    const auto map = std::make_unique<Map>();
    fill(*map);
    benchmark::DoNotOptimize(map.get());
  }
}

}  // namespace

void addContainerWorks(std::vector<Work> &works) {
  const std::shared_ptr<_orv_db_content_values_t> content(orv_db_get_content_values(), orv_db_free_content_values);
  const auto map = std::make_shared<Map>();
  fill(content.get());
  fill(*map);
  works.push_back(
      {"container of 10 columns: create, put, free", "std::map", ratioAtMost(1), fillAnew, fillAnewPlainly});
  works.push_back({"container of 10 columns: clear, put again", "std::map", ratioAtMost(1),
                   [content](std::size_t count) {
                     for (std::size_t i = 0; i < count; ++i) {
                       orv_db_content_clear(content.get());
                       fill(content.get());
                     }
                   },
                   [map](std::size_t count) {
                     for (std::size_t i = 0; i < count; ++i) {
                       map->clear();
                       fill(*map);
                     }
                   }});
  works.push_back({"container of 10 columns: put over what is there", "std::map", ratioAtMost(1),
                   [content](std::size_t count) {
                     for (std::size_t i = 0; i < count; ++i)
                       fill(content.get());
                   },
                   [map](std::size_t count) {
                     for (std::size_t i = 0; i < count; ++i)
                       fill(*map);
                   }});
}

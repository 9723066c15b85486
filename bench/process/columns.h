// The 10 columns of the works with content values.
#pragma once

#include <orvdb_client.h>

struct TextColumn {
  const char *name;
  const char *value;
};

constexpr unsigned int kColumnCount = 10;
constexpr TextColumn kTexts[] = {
    {"category", "lamps"}, {"description", "A lamp for the table, with a shade of glass"}, {"name", "table lamp"}};
constexpr const char *kIntNames[] = {"depth", "height", "price", "width"};
constexpr const char *kInt64Names[] = {"created_at", "stock"};
constexpr char kDoubleName[] = "weight";
constexpr int kInt = 1299;
constexpr long long kInt64 = 1'700'000'000'000;
constexpr double kDouble = 2.75;

inline void fill(_orv_db_content_values_t *content) {
  for (const TextColumn &column : kTexts)
    orv_db_content_put_text(content, column.name, column.value);
  for (const char *name : kIntNames)
    orv_db_content_put_int(content, name, kInt);
  for (const char *name : kInt64Names)
    orv_db_content_put_int64(content, name, kInt64);
  orv_db_content_put_double(content, kDoubleName, kDouble);
}

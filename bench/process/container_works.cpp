// Content values of 10 columns, beside a map of the standard library with values of the same kind.
#include <benchmark/benchmark.h>

#include "columns.h"
#include "plain_container.h"
#include "works.h"

namespace {

void fillAnew(std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) {
    const ContentValues content(orv_db_get_content_values());
    fill(content.get());
    benchmark::DoNotOptimize(content.get());
  }
}

void fillAnewPlainly(std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) {
    const auto map = std::make_unique<PlainContainer>();
    fill(*map);
    benchmark::DoNotOptimize(map.get());
  }
}

}  // namespace

void addContainerWorks(std::vector<Work> &works) {
  const std::shared_ptr<_orv_db_content_values_t> content(orv_db_get_content_values(), orv_db_free_content_values);
  const auto map = std::make_shared<PlainContainer>();
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

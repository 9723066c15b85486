// Reading a row that is in memory: a step, and each of 5 columns with its type.
#include <benchmark/benchmark.h>

#include "works.h"

namespace {

Repeat readingOf(std::unique_ptr<Rows> stored) {
  return [rows = std::shared_ptr<Rows>(std::move(stored))](std::size_t count) {
    Item item;
    for (std::size_t i = 0; i < count; ++i) {
      if (rows->next(item)) {
        benchmark::DoNotOptimize(item);
      } else {
        rows->rewind();
      }
    }
  };
}

}  // namespace

void addRowWorks(std::vector<Work> &works, Surroundings &surroundings) {
  constexpr unsigned long long kRows = 1000;
  works.push_back({"step and getters of 5 columns, statement", "fetch and fetch_column", libraryAtMost(0),
                   readingOf(surroundings.library->select(kRows)), readingOf(surroundings.reference->select(kRows))});
  works.push_back({"step and getters of 5 columns, raw", "fetch_row and conversions", libraryAtMost(0),
                   readingOf(surroundings.library->selectText(kRows)),
                   readingOf(surroundings.reference->selectText(kRows))});
}

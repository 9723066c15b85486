// A query and the reading of its rows, by their number.
#include <stdexcept>

#include "curves.h"
#include "items/item_store.h"
#include "items/read_all.h"
#include "items/tables.h"

namespace {

constexpr std::size_t kMostRows = 100'000;

using Select = std::unique_ptr<Rows> (ItemStore::*)(unsigned long long);

Repeat reading(ItemStore &store, Select select, std::size_t rows) {
  return [&store, select, rows](std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
      if (readAll(*(store.*select)(rows)) == 0) throw std::runtime_error("no row was read");
    }
  };
}

}  // namespace

void measureRows(Bench &bench, Ground &ground) {
  makeItemTables(ground.admin, kMostRows);
  const auto library = openWithLibrary(ground.server, ground.db);
  const auto reference = openReference(ground.server, ground.db, nullptr);
  const auto measure = [&](const std::string &work, Select select) {
    for (std::size_t rows = 1; rows <= kMostRows; rows *= 10)
      bench.compare(pointOf(work, "rows", rows, "the same call by call"), reading(*library, select, rows),
                    reading(*reference, select, rows));
  };
  measure("query", &ItemStore::select);
  measure("raw query", &ItemStore::selectText);
}

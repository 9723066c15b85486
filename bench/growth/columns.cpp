// Inserts and queries by the number of columns.
#include <stdexcept>

#include "curves.h"
#include "wide_table.h"

namespace {

constexpr int kRows = 10;

void makeTables(AdminConnection &admin, const WideColumns &columns) {
  std::string definitions = "_id BIGINT UNSIGNED AUTO_INCREMENT PRIMARY KEY";
  std::string values = "NULL";
  for (const std::string &name : columns.names) {
    definitions += ", " + name + " INT";
    values += ",seq";
  }
  admin.query("CREATE TABLE " + columns.table + " (" + definitions + ")");
  admin.query("INSERT INTO " + columns.table + " SELECT " + values + " FROM seq_1_to_" + std::to_string(kRows));
  admin.query("CREATE TABLE " + columns.table + "_work (" + definitions + ")");
}

Repeat inserting(WideTable &table) {
  return [&table](std::size_t count) {
    for (std::size_t i = 0; i < count; ++i)
      table.insert();
  };
}

Repeat reading(WideTable &table) {
  return [&table](std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
      if (table.sum() == 0) throw std::runtime_error("no row was read");
    }
  };
}

}  // namespace

void measureColumns(Bench &bench, Ground &ground) {
  for (const std::size_t count : {1U, 3U, 10U, 30U, 100U, 300U}) {
    const WideColumns columns(count);
    makeTables(ground.admin, columns);
    const auto library = openWideWithLibrary(ground.server, ground.db, columns);
    const auto reference = openWideByHand(ground.server, ground.db, columns, ground.listener.socket());
    if (library->sum() != reference->sum()) throw std::runtime_error("library and reference read different rows");
    bench.compare(pointOf("insert", "columns", count, "prepare, bind, execute, close"), inserting(*library),
                  inserting(*reference));
    bench.compare(pointOf("query of 10 rows", "columns", count, "the same call by call"), reading(*library),
                  reading(*reference));
  }
}

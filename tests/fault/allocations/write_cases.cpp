// Queries, inserts, updates and deletes.
#include <cstring>

#include "fault/allocations/cases.h"

namespace {

using Defined = Case::Defined;

Case rawQuery(const char *variant, const char *text, Defined defined, bool wantsRows) {
  Case one{"orv_db_raw_query", variant, defined, 0, [text, wantsRows](World &world) {
             ResultSetInfo **result = wantsRows ? &world.result : nullptr;
             return static_cast<int>(orv_db_raw_query(world.handle(), text, std::strlen(text), result));
           }};
  one.prepare = [](World &world) { world.result = nullptr; };
  one.release = [](World &world) { orv_db_free_result(world.result); };
  if (wantsRows) one.isDone = [](World &world) { return world.result != nullptr; };
  return one;
}

Case fromTheHeap(Case one) {
  one.prepare = [](World &world) {
    world.fillPools();
    world.result = nullptr;
  };
  return one;
}

// It names the one table whose changes a raw query announces.
Case announcedRawQuery() {
  Case one = rawQuery("Announced", "SHOW COLUMNS FROM Firmwares", Case::successAnyway, true);
  one.announces = 1;
  return one;
}

Case query(const char *variant) {
  Case one{"orv_db_query", variant, Case::status4, 0, [](World &world) {
             const char *columns[] = {"*"};
             return static_cast<int>(
                 orv_db_query(world.handle(), kWideTable, columns, 1, "c0>=?", &world.param, 1, "c0", &world.result));
           }};
  one.prepare = [](World &world) { world.result = nullptr; };
  one.release = [](World &world) { orv_db_free_result(world.result); };
  one.isDone = [](World &world) { return world.result != nullptr; };
  return one;
}

int insertInto(World &world, const char *table) {
  return orv_db_insert(world.handle(), table, world.filled.get(), nullptr, nullptr);
}
int updateIn(World &world, const char *table) {
  return orv_db_update(world.handle(), table, world.filled.get(), "_id=?", &world.param, 1, nullptr);
}
int deleteFrom(World &world, const char *table) {
  return orv_db_delete(world.handle(), table, "_id=?", &world.param, 1, nullptr);
}

struct Write {
  const char *function;
  int (*run)(World &world, const char *table);
  const char *count;  // of rows of the table that tell that it was done
};

constexpr Write kWrites[] = {
    {"orv_db_insert", insertInto, " WHERE n=5"},
    {"orv_db_update", updateIn, " WHERE n=5"},
    {"orv_db_delete", deleteFrom, " HAVING COUNT(*)=0"},
};

std::string rowsFound(const Write &write, const char *table) {
  return std::string("SELECT COUNT(*) FROM (SELECT 1 FROM ") + table + write.count + ") AS found";
}

Case writeTo(const Write &write, const char *variant, const char *table) {
  Case one{write.function, variant, Case::status4UntilItIsDone, 0,
           [write, table](World &world) { return write.run(world, table); }};
  one.prepare = [](World &world) { world.restoreTables(); };
  one.isDone = [write, table](World &world) { return world.value(rowsFound(write, table)) == "1"; };
  one.announces = 1;
  return one;
}

// What it did is seen through its own handle until it is rolled back. Its announcement waits for the commit.
Case writeInATransaction(const Write &write) {
  Case one = writeTo(write, "InATransaction", kTable);
  one.prepare = [](World &world) {
    world.restoreTables();
    EXPECT_EQ(orv_db_begin_transaction(world.handle()), 0);
  };
  one.isDone = [write](World &world) { return world.ownValue(rowsFound(write, kTable)) == "1"; };
  one.release = [](World &world) { EXPECT_EQ(orv_db_rollback_transaction(world.handle()), 0); };
  one.announces = 0;
  return one;
}

}  // namespace

std::vector<Case> writeCases() {
  std::vector<Case> cases = {
      rawQuery("WithoutRows", "DO 1", Case::needsNoMemory, false),
      rawQuery("ForRowsFromThePool", "SHOW TABLES", Case::needsNoMemory, true),
      fromTheHeap(rawQuery("ForRowsFromTheHeap", "SHOW TABLES", Case::status4, true)),
      announcedRawQuery(),
      query("IntoThePool"),
      fromTheHeap(query("IntoTheHeap")),
  };
  for (const Write &write : kWrites) {
    cases.push_back(writeTo(write, "", kTable));
    cases.push_back(writeTo(write, "Logged", kFirmwares));
    cases.push_back(writeInATransaction(write));
  }
  return cases;
}

#include "fault/allocations/cases.h"

namespace {

Case onHandle(const char *function, int usual, std::function<int(_orv_db_handle_t *)> call) {
  return {function, "", Case::needsNoMemory, usual, [call](World &world) { return call(world.handle()); }};
}

Case open() {
  Case one{"orv_db_open", "", Case::nullPointer, 0, [](World &world) {
             world.opened = world.open();
             return world.opened != nullptr ? 0 : kNull;
           }};
  one.release = [](World &world) { world.opened.reset(); };
  one.isDone = [](World &world) { return world.opened != nullptr; };
  return one;
}

Case close() {
  Case one{"orv_db_close", "", Case::needsNoMemory, 0, [](World &world) {
             orv_db_close(world.opened.release());
             return 0;
           }};
  one.prepare = [](World &world) { world.opened = world.open(); };
  return one;
}

// The tables that were written to are announced: a lack of memory keeps that from them, but not the commit.
Case commit() {
  Case one{"orv_db_commit_transaction", "", Case::successAnyway, 0,
           [](World &world) { return orv_db_commit_transaction(world.handle()); }};
  one.prepare = [](World &world) {
    world.restoreTables();
    EXPECT_EQ(orv_db_begin_transaction(world.handle()), 0);
    EXPECT_EQ(orv_db_delete(world.handle(), kTable, nullptr, nullptr, 0, nullptr), 0);
  };
  one.isDone = [](World &world) { return world.value(std::string("SELECT COUNT(*) FROM ") + kTable) == "0"; };
  one.announces = 1;
  return one;
}

Case rollback() {
  Case one = onHandle("orv_db_rollback_transaction", 0, orv_db_rollback_transaction);
  one.prepare = [](World &world) {
    world.restoreTables();
    EXPECT_EQ(orv_db_begin_transaction(world.handle()), 0);
    EXPECT_EQ(orv_db_delete(world.handle(), kTable, nullptr, nullptr, 0, nullptr), 0);
  };
  one.isDone = [](World &world) { return world.ownValue(std::string("SELECT COUNT(*) FROM ") + kTable) == "1"; };
  return one;
}

Case begin() {
  Case one = onHandle("orv_db_begin_transaction", 0, orv_db_begin_transaction);
  one.isDone = [](World &world) { return world.ownValue("SELECT @@autocommit") == "0"; };
  one.release = [](World &world) { EXPECT_EQ(orv_db_rollback_transaction(world.handle()), 0); };
  return one;
}

}  // namespace

std::vector<Case> connectionCases() {
  const auto count = [](unsigned long long number) { return static_cast<int>(number); };
  return {
      open(),
      close(),
      begin(),
      commit(),
      rollback(),
      onHandle("orv_db_test_connection", 0, orv_db_test_connection),
      onHandle("orv_db_raw_affected_rows", 0,
               [count](_orv_db_handle_t *handle) { return count(orv_db_raw_affected_rows(handle)); }),
      onHandle("orv_db_raw_insert_id", 0,
               [count](_orv_db_handle_t *handle) { return count(orv_db_raw_insert_id(handle)); }),
      onHandle("orv_db_get_error_str", 0,
               [](_orv_db_handle_t *) { return orv_db_get_error_str() != nullptr ? 0 : kNull; }),
  };
}

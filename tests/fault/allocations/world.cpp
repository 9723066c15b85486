#include "fault/allocations/world.h"

#include <iterator>
#include <utility>

#include "core/change_report.h"
#include "core/connection.h"
#include "unit/core/writing_test.h"

namespace {

constexpr int kPoolSize = 5;
constexpr int kColumnsBeyondInlineStorage = 33;

// A copy of it takes memory of its own, and announcements begin with one.
std::string longNameOf(const DatabaseTest &test) { return std::string(test.db()) + "_with_a_long_name"; }

std::string wideTable() {
  std::string text = std::string("CREATE TABLE ") + kWideTable + " (c0 INT";
  for (int i = 1; i < kColumnsBeyondInlineStorage; ++i)
    text += ", c" + std::to_string(i) + " INT";
  return text + ")";
}

AdminConnection connectToNewDatabase(DatabaseTest &test, const std::string &name) {
  test.admin().query("CREATE OR REPLACE DATABASE " + name);
  return AdminConnection(test.server(), name);
}

}  // namespace

World::World(DatabaseTest &test)
    : server_(test.server()), db_(longNameOf(test)), admin_(connectToNewDatabase(test, db_)) {
  for (const char *table : {kTable, kFirmwares}) {
    sql(std::string("CREATE TABLE ") + table + " (_id INT PRIMARY KEY AUTO_INCREMENT, n INT, " + kColumn +
        " VARCHAR(100))");
  }
  sql(wideTable());
  sql(std::string("INSERT INTO ") + kWideTable + " (c0) VALUES (1), (2)");
  restoreTables();
  handle_ = open();
  reader_ = open();
  content_.reset(orv_db_get_content_values());
  filled.reset(orv_db_get_content_values());
  orv_db_content_put_int(filled.get(), "n", 5);
  orv_db_content_put_text(filled.get(), kColumn, kText);
  param.type = ORV_DB_TYPE_INT;
  param.value.i = 1;
  pooled_.reserve(2 * kPoolSize);
  rows_ = {Result(rawResult()), Result(statementResult())};
  for (const Result &one : rows_)
    EXPECT_EQ(orv_db_result_step(one.get()), ORV_DB_ROW);
}

World::~World() { admin_.query("DROP DATABASE " + db_); }

Handle World::open() const {
  return Handle(
      orv_db_open(server_.host.c_str(), server_.user.c_str(), server_.password.c_str(), db_.c_str(), server_.port));
}

ResultSetInfo *World::rawResult() const {
  const std::string text = std::string("SELECT * FROM ") + kWideTable;
  ResultSetInfo *rows = nullptr;
  EXPECT_EQ(orv_db_raw_query(reader_.get(), text.c_str(), text.size(), &rows), ORV_DB_OK);
  return rows;
}

ResultSetInfo *World::statementResult() const {
  ResultSetInfo *rows = nullptr;
  EXPECT_EQ(orv_db_query(reader_.get(), kWideTable, nullptr, 0, nullptr, nullptr, 0, nullptr, &rows), ORV_DB_OK);
  return rows;
}

std::string World::ownValue(const std::string &sql) const { return rawValue(handle_, sql); }

void World::restoreTables() {
  for (const char *table : {kTable, kFirmwares}) {
    sql(std::string("DELETE FROM ") + table);
    sql(std::string("INSERT INTO ") + table + " VALUES (1, 1, 'old')");
  }
}

void World::fillPools() {
  while (pooled_.size() < 2 * kPoolSize) {
    pooled_.emplace_back(rawResult());
    pooled_.emplace_back(statementResult());
  }
}

std::vector<std::string> World::heldLocks() const {
  const auto isHeld = [](auto *lock) { return EventMgr::isHeld(lock); };
  const EventMgr::Locks manager;
  const std::vector<std::pair<const char *, bool>> locks = {
      {"open", isHeld(s_pOpenMutex)},
      {"registry", isHeld(s_pConnInfoLock)},
      {"raw pool", isHeld(s_pRawSetPoolMutex)},
      {"statement pool", isHeld(s_pStmtSetPoolMutex)},
      {"log", isHeld(s_pLogMutex)},
      {"handle", isHeld(&handle_->lock)},
      {"run", isHeld(manager.run)},
      {"registration", isHeld(manager.reg)},
      {"map", isHeld(manager.map)},
      {"socket", isHeld(manager.sock)},
  };
  std::vector<std::string> held;
  for (const auto &[name, isTaken] : locks) {
    if (isTaken) held.emplace_back(name);
  }
  return held;
}

void World::forgetClosedHandles() {
  const write_guard forgetting(s_pConnInfoLock);
  for (auto entry = s_mapPendingTables->begin(); entry != s_mapPendingTables->end();) {
    const bool isOpen = s_mapConnInfo->count(reinterpret_cast<MYSQL *>(entry->first)) == 1;
    entry = isOpen ? std::next(entry) : s_mapPendingTables->erase(entry);
  }
}

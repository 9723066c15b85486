#include "stress/worker.h"

#include <utility>

#include "support/params.h"
#include "unit/core/writing_test.h"

Worker::Worker(std::string db, std::string table, _orv_db_handle_t *handle)
    : db_(std::move(db)), table_(std::move(table)), handle_(handle) {}

void Worker::liveThrough(int round) {
  const unsigned long long row = insert(round);
  update(row, -round);
  if (round % 3 == 0) remove(row);
}

void Worker::transact(int round) {
  const Deeds before = deeds_;
  EXPECT_EQ(orv_db_begin_transaction(handle_), 0);
  const unsigned long long row = insert(round);
  update(row, round + 1);
  insert(round);
  deeds_.announced = before.announced;
  if (round % 2 == 0) {
    EXPECT_EQ(orv_db_rollback_transaction(handle_), 0);
    deeds_.rows = before.rows;
  } else {
    EXPECT_EQ(orv_db_commit_transaction(handle_), 0);
    announce(ORV_DB_ACTION_ALL, kWholeTable);
  }
}

void Worker::query() const {
  ResultSetInfo *rows = nullptr;
  const char *columns[] = {"_id", "value"};
  EXPECT_EQ(orv_db_query(handle_, table_.c_str(), columns, 2, nullptr, nullptr, 0, "_id", &rows), 0U);
  expectRows(Result(rows));
  const std::string sql = "SELECT _id, value FROM " + table_ + " ORDER BY _id";
  EXPECT_EQ(orv_db_raw_query(handle_, sql.data(), sql.size(), &rows), 0U);
  expectRows(Result(rows));
}

unsigned long long Worker::insert(int value) {
  unsigned long long affected = 0;
  unsigned long long row = 0;
  EXPECT_EQ(orv_db_insert(handle_, table_.c_str(), valueOf(value).get(), &affected, &row), 0);
  EXPECT_EQ(affected, 1U);
  EXPECT_TRUE(deeds_.rows.emplace(row, value).second) << "two inserts were given the id " << row;
  announce(ORV_DB_ACTION_INSERT, row);
  return row;
}

void Worker::update(unsigned long long row, int value) {
  unsigned long long affected = 0;
  const _orv_db_param_t id = idParam(row);
  EXPECT_EQ(orv_db_update(handle_, table_.c_str(), valueOf(value).get(), "_id = ?", &id, 1, &affected), 0);
  EXPECT_EQ(affected, 1U);
  deeds_.rows[row] = value;
  announce(ORV_DB_ACTION_UPDATE, row);
}

void Worker::remove(unsigned long long row) {
  unsigned long long affected = 0;
  const _orv_db_param_t id = idParam(row);
  EXPECT_EQ(orv_db_delete(handle_, table_.c_str(), "_id = ?", &id, 1, &affected), 0);
  EXPECT_EQ(affected, 1U);
  deeds_.rows.erase(row);
  announce(ORV_DB_ACTION_DELETE, kNoRow);
}

void Worker::expectRows(const Result &rows) const {
  for (const auto &[row, value] : deeds_.rows) {
    unsigned long long readRow = 0;
    int readValue = 0;
    EXPECT_EQ(orv_db_result_step(rows.get()), static_cast<unsigned int>(ORV_DB_ROW));
    EXPECT_EQ(orv_db_result_column_uint64(rows.get(), 0, &readRow), 0U);
    EXPECT_EQ(orv_db_result_column_int(rows.get(), 1, &readValue), 0U);
    EXPECT_EQ(readRow, row);
    EXPECT_EQ(readValue, value);
  }
  EXPECT_EQ(orv_db_result_step(rows.get()), static_cast<unsigned int>(ORV_DB_DONE));
}

void Worker::announce(int action, unsigned long long row) {
  ++deeds_.announced[changeRecord(db_, table_, static_cast<std::uint8_t>(action), row)];
}

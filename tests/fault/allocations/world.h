// What calls of the library are made on: a database with tables, open handles, results and content values, and a
// notification server.
#pragma once

#include <array>
#include <string>
#include <vector>

#include "content/content_values.h"
#include "event_mgr_access.h"
#include "support/connected_peer.h"
#include "support/database.h"
#include "support/handle.h"

// Too long to be stored without memory of their own.
constexpr char kTable[] = "a_table_with_a_long_name";
constexpr char kWideTable[] = "a_table_with_33_columns";
constexpr char kFirmwares[] = "Firmwares";
constexpr char kColumn[] = "a_column_with_a_long_name";
constexpr char kText[] = "a text that does not fit into a short string";

class World {
 public:
  explicit World(DatabaseTest &test);
  ~World();
  World(const World &) = delete;
  World &operator=(const World &) = delete;

  _orv_db_handle_t *handle() const { return handle_.get(); }
  _orv_db_content_values_t *content() const { return content_.get(); }
  // Two rows of a raw query and of a statement, the first being current.
  const std::array<Result, 2> &rows() const { return rows_; }
  NotificationPeer &peer() { return peer_; }

  Handle open() const;
  ResultSetInfo *rawResult() const;
  ResultSetInfo *statementResult() const;

  // The first column of the first row.
  std::string value(const std::string &sql) { return admin_.value(sql); }
  // The same through handle(), which sees more inside of a transaction.
  std::string ownValue(const std::string &sql) const;
  void sql(const std::string &text) { admin_.query(text); }
  // One row, whose values are 1 and "old", in both tables that are written to.
  void restoreTables();

  // From now on results come from the heap.
  void fillPools();
  void emptyPools() { pooled_.clear(); }

  // By name.
  std::vector<std::string> heldLocks() const;
  // The library keeps an entry for the address of each handle that was ever open. The next open makes one again.
  static void forgetClosedHandles();

  // Where calls leave what they make.
  Handle opened;
  ResultSetInfo *result = nullptr;
  _orv_db_content_values_t *made = nullptr;
  ContentValues filled;  // a new row's values
  _orv_db_param_t param{};

 private:
  const DatabaseServer server_;
  const std::string db_;
  AdminConnection admin_;
  ConnectedPeer peer_;
  Handle handle_;
  Handle reader_;
  ContentValues content_;
  std::array<Result, 2> rows_;
  std::vector<Result> pooled_;
};

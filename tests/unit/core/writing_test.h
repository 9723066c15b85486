// A database with the tables t, u and v, a handle for it, a notification peer, and the library connected to both.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "support/connected_peer.h"
#include "support/database.h"
#include "support/handle.h"

constexpr std::uint64_t kNoRow = ~std::uint64_t{0};

// For child programs, which know no more of the test than the name of its database.
inline Handle openHandle(const std::string &db) {
  const DatabaseServer server = databaseServer();
  return Handle(
      orv_db_open(server.host.c_str(), server.user.c_str(), server.password.c_str(), db.c_str(), server.port));
}

inline unsigned int rawQuery(const Handle &handle, const std::string &sql, ResultSetInfo **result = nullptr) {
  return orv_db_raw_query(handle.get(), sql.data(), sql.size(), result);
}

// The first column of the first row, as the handle's own connection sees it.
inline std::string rawValue(const Handle &handle, const std::string &sql) {
  ResultSetInfo *rows = nullptr;
  EXPECT_EQ(rawQuery(handle, sql, &rows), 0U) << orv_db_get_error_str();
  const Result result(rows);
  EXPECT_EQ(orv_db_result_step(rows), ORV_DB_ROW);
  char text[256] = "";
  EXPECT_EQ(orv_db_result_column_text(rows, 0, text, sizeof text), 0U);
  return text;
}

inline ContentValues valueOf(int value) {
  ContentValues values(orv_db_get_content_values());
  orv_db_content_put_int(values.get(), "value", value);
  return values;
}

inline int insertRow(const Handle &handle, const char *table, int value) {
  return orv_db_insert(handle.get(), table, valueOf(value).get(), nullptr, nullptr);
}

inline int updateRows(const Handle &handle, const char *table, int value, const char *where) {
  return orv_db_update(handle.get(), table, valueOf(value).get(), where, nullptr, 0, nullptr);
}

inline int deleteRows(const Handle &handle, const char *table, const char *where) {
  return orv_db_delete(handle.get(), table, where, nullptr, 0, nullptr);
}

inline void createTable(AdminConnection &admin, const std::string &table) {
  admin.query("CREATE TABLE " + table + " (_id BIGINT UNSIGNED AUTO_INCREMENT PRIMARY KEY, value INT) ENGINE=InnoDB");
}

class WritingTest : public DatabaseTest {
 protected:
  using Records = std::vector<PeerRecord>;

  WritingTest() : handle_(openHandle(*this)) {
    for (const char *table : {"t", "u", "v"})
      createTable(admin(), table);
  }
  void SetUp() override { ASSERT_TRUE(handle_) << orv_db_get_error_str(); }

  PeerRecord announced(const std::string &table, std::uint8_t action, std::uint64_t rowId) const {
    return {0, changeRecord(db(), table, action, rowId)};
  }
  PeerRecord wholeTable(const std::string &table) const { return announced(table, ORV_DB_ACTION_ALL, 0); }

  std::string rowCount(const std::string &table) { return admin().value("SELECT COUNT(*) FROM " + table); }

  ConnectedPeer peer_;
  Handle handle_;
};

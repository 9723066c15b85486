// What the tests of content values and table operations share.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <orvdb_client.h>

#include <string>
#include <vector>

#include "support/database.h"
#include "support/notification_peer.h"
#include "support/owners.h"
#include "support/params.h"

constexpr unsigned long long kAllBitsSet = 0xFFFFFFFFFFFFFFFFULL;

// A container of content values, which frees itself.
class Content {
 public:
  Content() : content_(orv_db_get_content_values()) {}
  operator _orv_db_content_values_t *() const { return content_.get(); }

  Content &&with(const char *column, int value) {
    orv_db_content_put_int(*this, column, value);
    return std::move(*this);
  }
  Content &&with(const char *column, const std::string &text) {
    orv_db_content_put_text(*this, column, text.c_str());
    return std::move(*this);
  }

 private:
  ContentValues content_;
};

inline const char *errorText() { return orv_db_get_error_str(); }

// Leaves a text behind that the next statement has to clear.
inline void leaveErrorText(_orv_db_handle_t *handle) {
  ASSERT_NE(orv_db_raw_query(handle, "no SQL", 6, nullptr), 0u);
  ASSERT_STRNE(errorText(), "");
}

// A handle, and a notification server that hears what is announced through it.
class TableTest : public DatabaseTest {
 public:
  TableTest() {
    if (orv_db_retry_init() != ORV_DB_OK) throw std::runtime_error("the library does not connect to the peer");
    handle_ = openHandle();
  }

  Handle openHandle() {
    Handle opened(orv_db_open(host(), user(), password(), db(), port()));
    if (opened == nullptr) throw std::runtime_error(errorText());
    return opened;
  }

  _orv_db_handle_t *handle() const { return handle_.get(); }
  NotificationPeer &peer() { return peer_; }
  void sql(const std::string &statement) { admin().query(statement); }
  std::vector<Row> rows(const std::string &select) { return admin().query(select); }

  // Everything that has been announced since the last call.
  std::vector<PeerRecord> announced() { return peer_.remainingRecords(); }
  PeerRecord change(const std::string &table, std::uint8_t action, std::uint64_t rowId) const {
    return {0, changeRecord(db(), table, action, rowId)};
  }
  PeerRecord inserted(const std::string &table, std::uint64_t rowId) const { return change(table, 1, rowId); }
  PeerRecord updated(const std::string &table, std::uint64_t rowId) const { return change(table, 2, rowId); }
  PeerRecord deleted(const std::string &table) const { return change(table, 4, kAllBitsSet); }
  PeerRecord committed(const std::string &table) const { return change(table, 7, 0); }

 private:
  NotificationPeer peer_;
  Handle handle_;
};

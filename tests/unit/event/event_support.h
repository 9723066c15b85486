// What the tests of the notification client share: callbacks that record their calls, a client that is connected to a
// peer, and a look inside the event manager.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <orvdb_client.h>

#include <chrono>
#include <functional>
#include <mutex>
#include <ostream>
#include <stdexcept>
#include <string>
#include <vector>

#include "event_mgr_access.h"
#include "support/connected_peer.h"
#include "support/wait.h"

// One call of a callback.
struct Call {
  char callback;
  std::string db;
  std::string table;
  int action;
  unsigned long long rowId;
  void *userData = nullptr;
};

inline bool operator==(const Call &left, const Call &right) {
  return left.callback == right.callback && left.db == right.db && left.table == right.table &&
         left.action == right.action && left.rowId == right.rowId && left.userData == right.userData;
}

inline std::ostream &operator<<(std::ostream &out, const Call &call) {
  return out << call.callback << '(' << call.db << ", " << call.table << ", " << call.action << ", " << call.rowId
             << ", " << call.userData << ')';
}

class CallLog {
 public:
  void add(const Call &call) {
    const std::lock_guard<std::mutex> adding(mutex_);
    calls_.push_back(call);
  }
  // Takes all calls, as soon as there are `count` at least.
  std::vector<Call> waitFor(std::size_t count) {
    std::vector<Call> taken;
    const auto complete = [&] {
      const std::lock_guard<std::mutex> taking(mutex_);
      if (calls_.size() < count) return false;
      taken.swap(calls_);
      return true;
    };
    if (!waitUntil(complete)) throw std::runtime_error(std::to_string(count) + " calls of callbacks did not come");
    return taken;
  }

 private:
  std::mutex mutex_;
  std::vector<Call> calls_;
};

// Never destroyed: a callback may still be called while the process exits.
inline CallLog &callLog() {
  static CallLog &log = *new CallLog;
  return log;
}

template <char Name>
void recordCall(const char *db, const char *table, _orv_db_action_t action, unsigned long long rowId, void *userData) {
  callLog().add({Name, db, table, static_cast<int>(action), rowId, userData});
}
// For callbacks that do more: the user pointer leads to what is to be done on the message thread.
using Task = std::function<void()>;
inline void runTask(const char *, const char *, _orv_db_action_t, unsigned long long, void *userData) {
  (*static_cast<const Task *>(userData))();
}

constexpr orv_db_change_cb f = recordCall<'f'>;
constexpr orv_db_change_cb g = recordCall<'g'>;
constexpr orv_db_change_cb h = recordCall<'h'>;

constexpr char kDb[] = "shop";
constexpr char kTable[] = "items";

constexpr _orv_db_action_t actions(int mask) { return static_cast<_orv_db_action_t>(mask); }

// For the one table that most tests need.
inline int registerItems(int mask, orv_db_change_cb callback, void *userData = nullptr, unsigned char flag = 0) {
  return orv_db_register_callback(kDb, kTable, actions(mask), userData, flag, callback);
}
inline int cancelItems(int mask) { return orv_db_cancel_callback(kDb, kTable, actions(mask)); }
inline int notifyItems(unsigned long long rowId = 0) {
  return orv_db_notify_change(kDb, kTable, ORV_DB_ACTION_INSERT, rowId);
}
inline RecordBytes itemsChange(std::uint8_t action, std::uint64_t rowId) {
  return changeRecord(kDb, kTable, action, rowId);
}

inline std::vector<RecordBytes> bytesOf(const std::vector<PeerRecord> &records) {
  std::vector<RecordBytes> bytes;
  for (const PeerRecord &one : records)
    bytes.push_back(one.bytes);
  return bytes;
}

// Connected to a peer that accepts every registration. One callback is registered from the start: a change that it is
// called for, sent behind others, proves that these have all been dealt with.
class NotificationClient : public ::testing::Test {
 protected:
  NotificationClient() {
    EXPECT_EQ(orv_db_register_callback("last", "last", ORV_DB_ACTION_ALL, nullptr, 0, recordCall<'!'>), 0);
    peer.waitForRecords(1);
  }

  // All calls that these bytes bring about.
  std::vector<Call> callsForBytes(Bytes bytes, int connection = 0) {
    const RecordBytes last = changeRecord("last", "last", 1, 0);
    bytes.insert(bytes.end(), last.begin(), last.end());
    peer.sendBytes(connection, bytes);
    return callsUpToLast();
  }
  std::vector<Call> callsFor(const std::vector<RecordBytes> &records, int connection = 0) {
    return callsForBytes(concatenated(records), connection);
  }

  // The peer has read everything that the client wrote before.
  std::vector<RecordBytes> recordsSent() { return bytesOf(peer.remainingRecords()); }

  ConnectedPeer peer;

 private:
  std::vector<Call> callsUpToLast() {
    std::vector<Call> all;
    do {
      for (const Call &call : callLog().waitFor(1))
        all.push_back(call);
    } while (all.back().callback != '!');
    all.pop_back();
    return all;
  }
};

class Stopwatch {
 public:
  std::chrono::steady_clock::duration elapsed() const { return std::chrono::steady_clock::now() - start_; }

 private:
  std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

// Between losing its connection and having a new one. The peer has stopped. That a record can't be sent is not enough:
// writing fails as soon as the peer is gone, before the message thread has seen it.
inline void waitUntilRecovering() {
  if (!waitUntil([] { return db_event_mgr_test_access::socket() == -1; })) {
    throw std::runtime_error("the client does not see the loss of its connection");
  }
}

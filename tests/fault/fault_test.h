// What the tests on the stand-in share.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <orvdb_client.h>

#include <cstring>
#include <string>
#include <vector>

#include "fault/client_library.h"
#include "fault/failing_call.h"
#include "support/notification_peer.h"
#include "support/owners.h"
#include "support/system_log.h"

constexpr unsigned long long kAllBitsSet = 0xFFFFFFFFFFFFFFFFULL;

// Too long to fit into a std::string without the heap.
constexpr char kHost[] = "database.example.invalid";
constexpr char kDb[] = "a_database_with_a_long_name";
constexpr char kTable[] = "a_table_with_a_long_name";

inline const char *errorText() { return orv_db_get_error_str(); }

inline Handle openHandle(const char *db = kDb) { return Handle(orv_db_open(kHost, "user", "secret", db, 3307)); }

// The first or last of the calls noted so far.
Calls firstCalls(std::size_t count);
Calls lastCalls(std::size_t count);

// Every value that the client library may give for a failure, and the status that it becomes.
struct MappedCode {
  int code;
  int status;
};
std::vector<MappedCode> mappedCodes();

// Waits for a forked child. Has it ended with exit status 0?
bool endedWell(pid_t child);
// Forks, which takes every lock of the library, and waits for the child. Hangs when one of them was left behind.
bool forkWorks();

// The executable's name begins with "QZ_", so that the library logs. Nothing may be left open at the end of a test.
class FaultTest : public ::testing::Test {
 protected:
  FaultTest();
  void TearDown() override;

  SystemLog log_;
};

// With an open handle.
class HandleTest : public FaultTest {
 protected:
  HandleTest();
  void TearDown() override;

  _orv_db_handle_t *handle() const { return handle_.get(); }
  // Leaves a text behind that the next call has to clear or to keep.
  void leaveErrorText();

 private:
  Handle handle_;
};

// With a notification server that hears what is announced through the handle.
class AnnouncingTest : public HandleTest {
 protected:
  AnnouncingTest();

  NotificationPeer &peer() { return peer_; }
  // Everything that has been announced since the last call.
  std::vector<PeerRecord> announced() { return peer_.remainingRecords(); }
  static PeerRecord change(const std::string &table, std::uint8_t action, std::uint64_t rowId) {
    return {0, changeRecord(kDb, table, action, rowId)};
  }

 private:
  NotificationPeer peer_;
};

// What the tests of a misbehaving notification server share.
#pragma once

#include <string>
#include <vector>

#include "event_mgr_access.h"
#include "event_support.h"
#include "standin/stand_ins.h"

inline Bytes firstBytes(const RecordBytes &record, std::size_t count) {
  return {record.begin(), record.begin() + static_cast<std::ptrdiff_t>(count)};
}
inline Bytes bytesBehind(const RecordBytes &record, std::size_t count) {
  return {record.begin() + static_cast<std::ptrdiff_t>(count), record.end()};
}

// Pauses between attempts to reconnect take no time. Whatever the server has done, the client proves in the end that
// it is at work.
class PeerFault : public NotificationClient {
 protected:
  PeerFault() {
    standIns.sleep.play([](const timespec *, timespec *) { return 0; });
    recordsSent();
  }
  ~PeerFault() override { standIns.timedWait.end(); }

  // The number of the connection that is in use.
  int connection() const { return connection_; }
  std::vector<Call> callsBy(const std::vector<RecordBytes> &records) { return callsFor(records, connection_); }
  std::vector<Call> callsByBytes(const Bytes &bytes) { return callsForBytes(bytes, connection_); }

  // What happens while a registration waits for its reply, in place of the wait; then its time is up.
  template <class Event>
  static void playWhileRegistrationWaits(Event event) {
    standIns.timedWait.play([event](sem_t *, const timespec *) {
      event();
      return failWith(ETIMEDOUT);
    });
  }

  // Returns what was called up to the loss of the connection.
  std::vector<Call> cut() {
    peer.closeConnection(connection_);
    peer.waitForConnection(++connection_);
    EXPECT_TRUE(waitUntil([] { return EventMgr::socket() >= 0; }));
    // Behind the replies to the registrations that are repeated, none of which is anybody's reply after this.
    const std::vector<Call> calls = callsBy({});
    recordsSent();
    return calls;
  }

  // A registration, an announcement and a change get through.
  void expectAtWork() {
    const std::string table = "control";
    const unsigned long long rowId = ++rowId_;
    EXPECT_EQ(orv_db_register_callback(kDb, table.c_str(), ORV_DB_ACTION_ALL, this, 0, h), 0);
    EXPECT_EQ(orv_db_notify_change(kDb, table.c_str(), ORV_DB_ACTION_INSERT, rowId), 0);
    EXPECT_THAT(recordsSent(), ::testing::ElementsAre(registerRecord(kDb, table, ORV_DB_ACTION_ALL, 0),
                                                      changeRecord(kDb, table, ORV_DB_ACTION_INSERT, rowId)));
    EXPECT_THAT(callsBy({changeRecord(kDb, table, ORV_DB_ACTION_DELETE, rowId)}),
                ::testing::ElementsAre(Call{'h', kDb, table, ORV_DB_ACTION_DELETE, rowId, this}));
    EXPECT_EQ(orv_db_cancel_callback(kDb, table.c_str(), ORV_DB_ACTION_ALL), 0);
    EXPECT_THAT(recordsSent(), ::testing::ElementsAre(cancelRecord(kDb, table, ORV_DB_ACTION_ALL)));
  }

 private:
  int connection_ = 0;
  unsigned long long rowId_ = 0;
};

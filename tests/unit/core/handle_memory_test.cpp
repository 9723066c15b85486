// An open that gets the address of an earlier handle.
#include "core/change_report.h"
#include "core/connection.h"
#include "seams.h"
#include "writing_test.h"

namespace {

class OpenAtTheSameAddress : public DatabaseTest {
 protected:
  OpenAtTheSameAddress() {
    reuseHandleMemory();
    createTable(admin(), "t");
    createTable(admin(), "u");
  }
};

}  // namespace

TEST_F(OpenAtTheSameAddress, EmptiesThePendingTablesOfTheEarlierHandle) {
  ConnectedPeer peer;
  _orv_db_handle_t *earlier = openHandle(*this).release();
  ASSERT_NE(earlier, nullptr) << orv_db_get_error_str();
  ASSERT_EQ(orv_db_begin_transaction(earlier), 0);
  ASSERT_EQ(orv_db_insert(earlier, "t", valueOf(1).get(), nullptr, nullptr), 0);
  orv_db_close(earlier);
  ASSERT_EQ(s_mapPendingTables->at(earlier), table_set{"t"});

  const Handle handle = openHandle(*this);
  ASSERT_EQ(handle.get(), earlier);
  EXPECT_EQ(s_mapPendingTables->at(earlier), table_set{});
  ASSERT_EQ(orv_db_begin_transaction(handle.get()), 0);
  ASSERT_EQ(insertRow(handle, "u", 1), 0);
  EXPECT_EQ(orv_db_commit_transaction(handle.get()), 0);
  EXPECT_EQ(peer.remainingRecords(), (std::vector{PeerRecord{0, changeRecord(db(), "u", 7, 0)}}));
}

TEST_F(OpenAtTheSameAddress, ReplacesAnEntryThatWasLeftThere) {
  const Handle earlier = openHandle(*this);
  ASSERT_TRUE(earlier) << orv_db_get_error_str();
  (*s_mapConnInfo)[&earlier->mysql] = {"elsewhere", "other"};
  mysql_close(&earlier->mysql);

  const Handle handle = openHandle(*this);
  ASSERT_EQ(handle, earlier);
  const ConnectionInfo &info = s_mapConnInfo->at(&handle->mysql);
  EXPECT_EQ(info.host, host());
  EXPECT_EQ(info.db, db());
  EXPECT_EQ(s_mapConnInfo->size(), 1U);
}

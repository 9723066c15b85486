// The connection to the database server breaks behind each byte of what is said over it.
//
// Whatever happens, a status is true: 0 only if the database holds the change, or the rows are all there. The one
// exception is a documented one: a connection that is lost inside a transaction is re-established without a word, and
// the commit on the new connection may be answered with 0.
#include <optional>

#include "fault/proxy/broken_connection.h"
#include "fault/proxy/positions.h"
#include "fault/proxy/short_timeouts.h"
#include "support/count.h"

namespace {

constexpr unsigned int kTimeoutSeconds = 1;
constexpr int kStallsAtOnce = 24;

constexpr FaultName kFaults[] = {{Fault::reset, "IsReset"},
                                 {Fault::finish, "Ends"},
                                 {Fault::tear, "EndsForTheReceiver"},
                                 {Fault::split, "ComesInTwoPieces"},
                                 {Fault::stall, "Stalls"}};

// In how many places of one direction a conversation is broken; script/cut-test asks for all there are.
std::size_t mostPlaces(Fault fault) {
  return static_cast<std::size_t>(countFromEnvironment("ORVDB_CUTS", fault == Fault::stall ? kStallsAtOnce : 40));
}

std::vector<std::size_t> placesOf(const std::string &bytes, Fault fault) {
  return thinned(fault == Fault::stall ? packetEnds(bytes) : breakingPoints(bytes), mostPlaces(fault));
}

class WriteThatNobodyReads : public DatabaseTest {
 protected:
  WriteThatNobodyReads() { admin().query("CREATE TABLE blobs (bytes LONGBLOB)"); }

  static int insertBlob(_orv_db_handle_t *handle, unsigned int length) {
    const std::string bytes(length, 'x');
    const ContentValues values(orv_db_get_content_values());
    orv_db_content_put_blob(values.get(), "bytes", bytes.data(), length);
    return orv_db_insert(handle, "blobs", values.get(), nullptr, nullptr);
  }

  std::string blobCount() { return admin().value("SELECT COUNT(*) FROM blobs"); }
};

std::string nameOf(const testing::TestParamInfo<BrokenConnection::ParamType> &info) {
  return std::string(std::get<0>(info.param).name) + std::get<1>(info.param).name;
}

}  // namespace

TEST_P(BrokenConnection, LeavesTrueStatusesAndAUsableHandle) {
  const bool stalls = fault() == Fault::stall;
  std::optional<ShortTimeouts> timeouts;
  if (stalls) timeouts.emplace(kTimeoutSeconds);
  for (const Direction direction : {Direction::toServer, Direction::toClient}) {
    const std::vector<std::size_t> places = placesOf(rehearse(direction), fault());
    ASSERT_GT(places.size(), 1U);
    const Figures &figures = breakAt(direction, places, stalls ? kStallsAtOnce : 1);
    EXPECT_EQ(static_cast<std::size_t>(figures.broken), places.size());
  }
  expectNothingWrittenTwice();
  expectAnnouncements();
}

// More than all buffers on the way can hold.
TEST_F(WriteThatNobodyReads, EndsWithItsTimeout) {
  constexpr unsigned int kLarge = 14 << 20;
  const ShortTimeouts timeouts(kTimeoutSeconds);
  Watchdog watchdog;
  WatchedThread here(watchdog, "writer");
  TcpProxy proxy(server());
  proxy.breakNext({Fault::stall, Direction::toServer, 100'000});
  const Handle handle(orv_db_open(host(), user(), password(), db(), proxy.port()));
  ASSERT_TRUE(handle) << orv_db_get_error_str();
  here.at("large insert");
  EXPECT_EQ(insertBlob(handle.get(), kLarge), ORV_DB_ERROR);
  EXPECT_EQ(blobCount(), "0");
  here.at("small insert");
  EXPECT_EQ(insertBlob(handle.get(), 1), ORV_DB_OK) << orv_db_get_error_str();
  EXPECT_EQ(blobCount(), "1");
}

INSTANTIATE_TEST_SUITE_P(When, BrokenConnection,
                         testing::Combine(testing::ValuesIn(conversations()), testing::ValuesIn(kFaults)), nameOf);

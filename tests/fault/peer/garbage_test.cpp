// The server sends what is no record, or none that means anything.
#include <algorithm>
#include <cstring>
#include <optional>
#include <random>

#include "fault/peer/peer_fault.h"

namespace {

using ::testing::ElementsAreArray;
using ::testing::IsEmpty;

constexpr std::size_t kDbOffset = 4;
constexpr std::size_t kTableOffset = 68;
constexpr std::size_t kActionOffset = 132;
constexpr std::size_t kRowIdOffset = 133;
constexpr std::size_t kNameLength = 63;

// The same in every run.
class Nonsense {
 public:
  unsigned int below(unsigned int limit) { return static_cast<unsigned int>(engine_()) % limit; }
  unsigned char byte() { return static_cast<unsigned char>(below(256)); }
  RecordBytes record() {
    RecordBytes bytes{};
    std::generate(bytes.begin(), bytes.end(), [this] { return byte(); });
    return bytes;
  }

 private:
  std::mt19937 engine_{20'262};
};

// What a client makes of a record, told byte by byte.
std::optional<Call> callFor(const RecordBytes &record) {
  const auto name = [&](std::size_t offset) {
    const auto *begin = reinterpret_cast<const char *>(record.data()) + offset;
    return std::string(begin, strnlen(begin, kNameLength));
  };
  unsigned long long rowId = 0;
  for (std::size_t i = 8; i-- > 0;)
    rowId = rowId << 8 | record[kRowIdOffset + i];
  const int action = record[kActionOffset];
  const bool isChange = record[0] == 2 && record[1] == 0;
  const bool isOfItems = name(kDbOffset) == kDb && name(kTableOffset) == kTable;
  if (!isChange || !isOfItems || (action & ORV_DB_ACTION_ALL) == 0) return std::nullopt;
  return Call{'f', kDb, kTable, action, rowId};
}

class PeerGarbage : public PeerFault {
 protected:
  PeerGarbage() {
    EXPECT_EQ(registerItems(ORV_DB_ACTION_ALL, f), 0);
    recordsSent();
  }

  // In pieces that a packet to the peer can hold.
  void expectCallsFor(const std::vector<RecordBytes> &records) {
    constexpr std::size_t kPiece = 400;
    for (std::size_t next = 0; next < records.size(); next += kPiece) {
      const std::size_t end = std::min(next + kPiece, records.size());
      const std::vector<RecordBytes> piece(records.begin() + static_cast<std::ptrdiff_t>(next),
                                           records.begin() + static_cast<std::ptrdiff_t>(end));
      std::vector<Call> expected;
      for (const RecordBytes &one : piece) {
        if (const std::optional<Call> call = callFor(one)) expected.push_back(*call);
      }
      ASSERT_THAT(callsBy(piece), ElementsAreArray(expected));
      called_ += expected.size();
    }
  }
  std::size_t called() const { return called_; }

  Nonsense nonsense_;

 private:
  std::size_t called_ = 0;
};

TEST_F(PeerGarbage, OfEveryTypeAndStatusIsIgnoredButForPlainChanges) {
  std::vector<RecordBytes> records;
  for (int type = 0; type < 256; ++type) {
    for (int status = 0; status < 256; status += type < 4 ? 1 : 51) {
      records.push_back(record(static_cast<std::uint8_t>(type), static_cast<std::uint8_t>(status), kDb, kTable, 1, 7));
    }
  }
  expectCallsFor(records);
  EXPECT_EQ(called(), 1U);
  expectAtWork();
}

TEST_F(PeerGarbage, WhileARegistrationWaitsDoesNotAcceptIt) {
  std::vector<RecordBytes> records;
  for (int type = 0; type < 256; ++type) {
    for (const int status : {0, 1, 2, 255}) {
      if (type == 0 && status == 1) continue;
      records.push_back(record(static_cast<std::uint8_t>(type), static_cast<std::uint8_t>(status), kDb, "other", 7, 0));
    }
  }
  peer.answerRegistrations(Answer::silence);
  playWhileRegistrationWaits([&] { expectCallsFor(records); });
  EXPECT_EQ(orv_db_register_callback(kDb, "other", ORV_DB_ACTION_ALL, nullptr, 0, g), 7);
  standIns.timedWait.end();
  peer.answerRegistrations(Answer::accept);
  recordsSent();
  expectAtWork();
}

TEST_F(PeerGarbage, OfRandomBytesCallsNothing) {
  std::vector<RecordBytes> records(2000);
  std::generate(records.begin(), records.end(), [this] { return nonsense_.record(); });
  expectCallsFor(records);
  EXPECT_EQ(called(), 0U);
  expectAtWork();
}

// Names that do not end are among them: what stands behind them may be anything.
TEST_F(PeerGarbage, InAnyByteOfAChangeDecidesByThatByteAlone) {
  std::vector<RecordBytes> records;
  for (std::size_t offset = 0; offset < kRecordSize; ++offset) {
    for (int i = 0; i < 20; ++i) {
      records.push_back(itemsChange(ORV_DB_ACTION_INSERT, offset));
      records.back()[offset] = nonsense_.byte();
    }
  }
  expectCallsFor(records);
  // What stands behind a name's end, and in the action and the row id, leaves most of them changes.
  EXPECT_GT(called(), records.size() / 2);
  EXPECT_LT(called(), records.size());
  expectAtWork();
}

TEST_F(PeerGarbage, FromAnyByteOnHasNamesThatDoNotEnd) {
  const std::string db(kNameLength, 'd');
  const std::string table(kNameLength, 't');
  ASSERT_EQ(orv_db_register_callback(db.c_str(), table.c_str(), ORV_DB_ACTION_ALL, nullptr, 0, g), 0);
  recordsSent();
  RecordBytes endless = changeRecord("", "", 1, ~0ULL);
  std::memset(&endless[kDbOffset], 'd', kTableOffset - kDbOffset);
  std::memset(&endless[kTableOffset], 't', kActionOffset - kTableOffset);
  std::vector<RecordBytes> ignored;
  for (std::size_t offset = kDbOffset; offset < kTableOffset + kNameLength; ++offset) {
    if (offset == kTableOffset - 1) continue;  // the one that is taken for the end, whatever it is
    ignored.push_back(endless);
    std::memset(&ignored.back()[offset], 0xFF, kRecordSize - offset);
  }
  EXPECT_THAT(callsBy(ignored), IsEmpty());
  EXPECT_THAT(callsBy({endless}), ElementsAreArray({Call{'g', db, table, 1, ~0ULL}}));
  expectAtWork();
}

// Records are out of step then. The next connection begins afresh.
TEST_F(PeerGarbage, OfAnyLengthIsOverWithItsConnection) {
  for (int round = 0; round < 50; ++round) {
    SCOPED_TRACE(round);
    Bytes bytes(nonsense_.below(10 * kRecordSize));
    std::generate(bytes.begin(), bytes.end(), [this] { return nonsense_.byte(); });
    peer.sendBytes(connection(), bytes);
    ASSERT_THAT(cut(), IsEmpty());
    ASSERT_NO_FATAL_FAILURE(expectCallsFor({itemsChange(ORV_DB_ACTION_UPDATE, 9)}));
  }
  expectAtWork();
}

}  // namespace

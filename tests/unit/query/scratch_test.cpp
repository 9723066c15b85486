// For dates and times the client library writes a whole MYSQL_TIME into the buffer of a column, whatever length it is
// told. Nothing behind that buffer may suffer.
#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <new>

#include "unit/query/stmt_set_access.h"

namespace {

struct TemporalColumn {
  const char *type;
  const char *value;
  const char *text;
};
void PrintTo(const TemporalColumn &column, std::ostream *out) { *out << column.type; }

// Every member of a MYSQL_TIME that can be is other than 0.
constexpr TemporalColumn kTemporal[] = {
    {"DATE", "'2024-12-31'", "2024-12-31"},
    {"TIME(6)", "'-838:59:58.999999'", "-838:59:58.999999"},
    {"DATETIME(6)", "'2024-12-31 23:59:58.999999'", "2024-12-31 23:59:58.999999"},
    {"TIMESTAMP(6)", "'2024-12-31 23:59:58.999999'", "2024-12-31 23:59:58.999999"},
};

class Scratch : public ExecutedStatementTest, public testing::WithParamInterface<TemporalColumn> {
 protected:
  Scratch() {
    admin().query(std::string("CREATE TABLE t (a ") + GetParam().type + ")");
    admin().query(std::string("INSERT INTO t VALUES (") + GetParam().value + ")");
  }
};

INSTANTIATE_TEST_SUITE_P(Of, Scratch, testing::ValuesIn(kTemporal), [](const auto &tested) {
  const std::string type = tested.param.type;
  return type.substr(0, type.find('('));
});

// A set with guard bytes before and behind it, in heap memory.
class GuardedSet {
 public:
  GuardedSet() : memory_(static_cast<unsigned char *>(std::malloc(kSize))) {
    std::fill_n(memory_, kSize, kMark);
    set_ = ::new (memory_ + kGuard) StmtSetInfo;
  }
  ~GuardedSet() {
    set_->~StmtSetInfo();
    std::free(memory_);
  }
  GuardedSet(const GuardedSet &) = delete;
  GuardedSet &operator=(const GuardedSet &) = delete;

  StmtSetInfo *operator->() { return set_; }
  bool guardsAreWhole() const {
    const auto isMark = [](unsigned char byte) { return byte == kMark; };
    return std::all_of(memory_, memory_ + kGuard, isMark) &&
           std::all_of(memory_ + kGuard + sizeof(StmtSetInfo), memory_ + kSize, isMark);
  }

 private:
  static constexpr unsigned char kMark = 0xA5;
  static constexpr std::size_t kGuard = 64;
  static constexpr std::size_t kSize = kGuard + sizeof(StmtSetInfo) + kGuard;

  unsigned char *memory_;
  StmtSetInfo *set_;
};

TEST_P(Scratch, HoldsAWholeRowOnTheHeap) {
  GuardedSet set;
  ASSERT_EQ(set->initialize(execute("SELECT a FROM t")), 0);
  ASSERT_EQ(set->step(), 9U);
  EXPECT_TRUE(set.guardsAreWhole());
  std::string text(40, '\0');
  EXPECT_EQ(set->getText(0, text.data(), text.size()), 0U);
  EXPECT_STREQ(text.c_str(), GetParam().text);
}

using Bytes = std::array<unsigned char, sizeof(StmtSetInfo)>;

Bytes bytesOfSet(const ResultSetInfo *set) {
  Bytes bytes;
  std::memcpy(bytes.data(), static_cast<const void *>(set), bytes.size());
  return bytes;
}

TEST_P(Scratch, LeavesTheNeighbourInThePoolAlone) {
  for (int slot = 0; slot < 4; ++slot) {
    SCOPED_TRACE(slot);
    std::vector<Result> before;
    while (static_cast<int>(before.size()) < slot)
      before.push_back(query({"(SELECT 1 AS b) AS u"}).rows);
    const QueryAnswer temporal = query({"t"});
    const QueryAnswer neighbour = query({"(SELECT 7 AS b) AS u"});
    ASSERT_EQ(temporal.rows->m_poolSlot, slot);
    ASSERT_EQ(neighbour.rows->m_poolSlot, slot + 1);
    const Bytes untouched = bytesOfSet(neighbour.rows.get());
    ASSERT_EQ(orv_db_result_step(temporal.rows.get()), 9U);
    ASSERT_TRUE(bytesOfSet(neighbour.rows.get()) == untouched);
    ASSERT_EQ(orv_db_result_step(neighbour.rows.get()), 9U);
    EXPECT_EQ(intOf(neighbour.rows.get()), 7);
    EXPECT_EQ(textOf(temporal.rows.get()), GetParam().text);
  }
}

// The write that the tests above guard against does happen.
TEST_P(Scratch, IsWrittenBeyondTheLengthItIsBoundWith) {
  StmtSetInfo set;
  ASSERT_EQ(set.initialize(execute("SELECT a FROM t")), 0);
  auto *scratch = static_cast<unsigned char *>(const_cast<void *>(stmt_set_test_access::scratch(set)));
  std::fill_n(scratch, sizeof(MYSQL_TIME), 0xA5);
  ASSERT_EQ(set.step(), 9U);
  EXPECT_NE(scratch[sizeof(MYSQL_TIME) - 1], 0xA5);
}

TEST_P(Scratch, IsAlignedForATime) {
  StmtSetInfo set;
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(stmt_set_test_access::scratch(set)) % alignof(MYSQL_TIME), 0U);
}

}  // namespace

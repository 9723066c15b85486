// What every accessor checks, on results of both kinds, and how it reads SQL NULL.
#include <climits>
#include <cstring>

#include "unit/query/accessors.h"
#include "unit/query/query_fixture.h"

namespace {

class Accessors : public BothKindsTest {};
INSTANTIATE_FOR_BOTH_KINDS(Accessors);

constexpr unsigned int kColumns = 2;
const char *const kValues = "(SELECT 7 AS a, 'x' AS b) AS t";
const char *const kNulls = "(SELECT CAST(NULL AS INT) AS a, CAST(NULL AS CHAR) AS b) AS t";

TEST_P(Accessors, Return11BeforeTheFirstStep) {
  const Result result = select("*", kValues);
  for (const Accessor &accessor : rowAccessors()) {
    SCOPED_TRACE(accessor.name);
    WatchedOutput output;
    EXPECT_EQ(accessor.exported(result.get(), 0, output.get()), 11U);
    EXPECT_EQ(accessor.exported(result.get(), kColumns, output.get()), 11U) << "the row is looked at first";
    EXPECT_TRUE(output.isUntouched());
    EXPECT_EQ(accessor.onSet(result.get(), 0, nullptr), 11U) << "the row is looked at first";
  }
}

TEST_P(Accessors, Return11AfterTheLastRow) {
  const Result result = onlyRow("*", kValues);
  ASSERT_EQ(orv_db_result_step(result.get()), 10U);
  for (const Accessor &accessor : rowAccessors()) {
    SCOPED_TRACE(accessor.name);
    WatchedOutput output;
    EXPECT_EQ(accessor.exported(result.get(), 0, output.get()), 11U);
    EXPECT_TRUE(output.isUntouched());
  }
}

TEST_P(Accessors, Return3ForAColumnOutOfRange) {
  const Result result = onlyRow("*", kValues);
  for (const Accessor &accessor : rowAccessors()) {
    SCOPED_TRACE(accessor.name);
    WatchedOutput output;
    for (const unsigned int index : {kColumns, kColumns + 1, UINT_MAX})
      EXPECT_EQ(accessor.exported(result.get(), index, output.get()), 3U);
    EXPECT_TRUE(output.isUntouched());
    EXPECT_EQ(accessor.exported(result.get(), kColumns - 1, output.get()), 0U);
    EXPECT_FALSE(output.isUntouched());
  }
}

TEST_P(Accessors, Return3ForANullOutput) {
  const Result result = onlyRow("*", kValues);
  for (const Accessor &accessor : rowAccessors()) {
    SCOPED_TRACE(accessor.name);
    EXPECT_EQ(accessor.exported(result.get(), 0, nullptr), 3U);
    EXPECT_EQ(accessor.onSet(result.get(), 0, nullptr), 3U);
  }
}

TEST_P(Accessors, ReadZeroFromNullIntoTheirOwnWidth) {
  const Result result = onlyRow("*", kNulls);
  for (const Accessor &accessor : numberAccessors()) {
    for (unsigned int index = 0; index < kColumns; ++index) {
      SCOPED_TRACE(accessor.name);
      WatchedOutput output;
      EXPECT_EQ(accessor.exported(result.get(), index, output.get()), 0U);
      EXPECT_TRUE(output.isZero(accessor.outputSize));
      EXPECT_TRUE(output.isUntouched(accessor.outputSize));
    }
  }
}

TEST_P(Accessors, ReadOneZeroByteFromNullAsTextAndBlob) {
  const Result result = onlyRow("*", kNulls);
  for (const Accessor &accessor : bytesAccessors()) {
    SCOPED_TRACE(accessor.name);
    WatchedOutput output;
    EXPECT_EQ(accessor.exported(result.get(), 1, output.get()), 0U);
    EXPECT_TRUE(output.isZero(1));
    EXPECT_TRUE(output.isUntouched(1));
  }
}

TEST_P(Accessors, WriteNoMoreThanTheirOwnWidth) {
  const Result result = onlyRow("*", "(SELECT -1 AS a) AS t");
  for (const Accessor &accessor : numberAccessors()) {
    SCOPED_TRACE(accessor.name);
    WatchedOutput output;
    EXPECT_EQ(accessor.exported(result.get(), 0, output.get()), 0U);
    EXPECT_TRUE(output.isUntouched(accessor.outputSize));
    EXPECT_FALSE(output.isUntouched(accessor.outputSize - 1));
  }
}

TEST_P(Accessors, RefuseABufferOfNoBytes) {
  const Result result = onlyRow("*", kValues);
  char text[] = "??";
  unsigned char blob[] = "??";
  EXPECT_EQ(orv_db_result_column_text(result.get(), 1, text, 0), 3U);
  EXPECT_EQ(orv_db_result_column_blob(result.get(), 1, blob, 0), 3U);
  EXPECT_STREQ(text, "??");
  EXPECT_EQ(std::memcmp(blob, "??", sizeof blob), 0);
}

TEST_P(Accessors, TellNullFromAValue) {
  const Result result = onlyRow("*", "(SELECT CAST(NULL AS INT) AS a, 0 AS b, '' AS c) AS t");
  for (const auto &[index, expected] : {std::pair(0U, 1), std::pair(1U, 0), std::pair(2U, 0)}) {
    int isNull = -1;
    EXPECT_EQ(orv_db_result_column_is_null(result.get(), index, &isNull), 0U);
    EXPECT_EQ(isNull, expected) << "column " << index;
  }
}

// The client library leaves the previous row's length behind there.
TEST_P(Accessors, GiveNullALengthOfZeroBehindALongerRow) {
  const Result result = select("b", "(SELECT 1 AS a, 'twelve bytes' AS b UNION ALL SELECT 2, NULL ORDER BY a) AS t");
  unsigned long bytes = 99;
  ASSERT_EQ(orv_db_result_step(result.get()), 9U);
  EXPECT_EQ(orv_db_result_column_bytes(result.get(), 0, &bytes), 0U);
  EXPECT_EQ(bytes, 12U);
  ASSERT_EQ(orv_db_result_step(result.get()), 9U);
  EXPECT_EQ(orv_db_result_column_bytes(result.get(), 0, &bytes), 0U);
  EXPECT_EQ(bytes, 0U);
}

TEST_P(Accessors, NeedNoRowForTypeAndName) {
  const Result result = select("*", kValues);
  _orv_db_type_t type = ORV_DB_TYPE_UNKNOWN;
  EXPECT_EQ(orv_db_result_column_type(result.get(), 0, &type), 0U);
  EXPECT_EQ(type, ORV_DB_TYPE_INT);
  EXPECT_STREQ(orv_db_result_column_name(result.get(), 1), "b");
}

TEST_P(Accessors, Return3ForTheTypeOfNoColumnAndForNoOutput) {
  const Result result = select("*", kValues);
  _orv_db_type_t type = ORV_DB_TYPE_FORCE_32_BITS;
  EXPECT_EQ(orv_db_result_column_type(result.get(), kColumns, &type), 3U);
  EXPECT_EQ(orv_db_result_column_type(result.get(), UINT_MAX, &type), 3U);
  EXPECT_EQ(type, ORV_DB_TYPE_FORCE_32_BITS);
  EXPECT_EQ(orv_db_result_column_type(result.get(), 0, nullptr), 3U);
  EXPECT_EQ(result->colType(0, nullptr), 3U);
}

TEST_P(Accessors, NeverTouchTheErrorText) {
  const Result result = onlyRow("*", kValues);
  ASSERT_EQ(raw("nonsense").status, 1U);
  const std::string text = orv_db_get_error_str();
  ASSERT_FALSE(text.empty());
  for (const Accessor &accessor : rowAccessors()) {
    WatchedOutput output;
    accessor.exported(result.get(), 0, output.get());
    accessor.exported(result.get(), kColumns, output.get());
    accessor.exported(nullptr, 0, nullptr);
  }
  orv_db_result_step(result.get());
  orv_db_result_step(nullptr);
  orv_db_result_reset(result.get());
  EXPECT_EQ(orv_db_get_error_str(), text);
}

}  // namespace

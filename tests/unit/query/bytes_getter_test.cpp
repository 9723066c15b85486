// Text and blob getters: how much they copy, how they end it, on results of both kinds.

#include "unit/query/query_fixture.h"

namespace {

class BytesGetters : public BothKindsTest {
 protected:
  // The only row of a table with the one column.
  Result stored(const std::string &type, const std::string &value) {
    admin().query("CREATE TABLE t (a " + type + " NOT NULL)");
    admin().query("INSERT INTO t VALUES (" + value + ")");
    return onlyRow("a", "t");
  }
};
INSTANTIATE_FOR_BOTH_KINDS(BytesGetters);

constexpr char kMark = '#';

// The first `size` bytes of a marked buffer are handed over; all of it is returned.
std::string marked(ResultSetInfo *row, bool asText, unsigned long size) {
  std::string buffer(size + 4, kMark);
  const unsigned int status =
      asText ? orv_db_result_column_text(row, 0, buffer.data(), size)
             : orv_db_result_column_blob(row, 0, reinterpret_cast<unsigned char *>(buffer.data()), size);
  EXPECT_EQ(status, 0U);
  return buffer;
}

std::string markedText(ResultSetInfo *row, unsigned long size) { return marked(row, true, size); }
std::string markedBlob(ResultSetInfo *row, unsigned long size) { return marked(row, false, size); }

using namespace std::string_literals;

TEST_P(BytesGetters, TextOfSizeOneIsEmpty) {
  const Result row = stored("VARCHAR(9)", "'seven77'");
  EXPECT_EQ(markedText(row.get(), 1), "\0####"s);
}

TEST_P(BytesGetters, TextThatJustFitsIsWhole) {
  const Result row = stored("VARCHAR(9)", "'seven77'");
  EXPECT_EQ(markedText(row.get(), 8), "seven77\0####"s);
}

TEST_P(BytesGetters, TextIsCutByOneByteWhereItsNulDoesNotFit) {
  const Result row = stored("VARCHAR(9)", "'seven77'");
  EXPECT_EQ(markedText(row.get(), 7), "seven7\0####"s);
  EXPECT_EQ(markedText(row.get(), 6), "seven\0####"s);
}

TEST_P(BytesGetters, TextInALargerBufferEndsBehindItsLastByte) {
  const Result row = stored("VARCHAR(9)", "'seven77'");
  const std::string buffer = markedText(row.get(), 12);
  EXPECT_EQ(buffer.substr(0, 8), "seven77\0"s);
  EXPECT_EQ(buffer.substr(12), "####");
}

TEST_P(BytesGetters, BlobThatJustFitsIsWholeAndHasNoTerminator) {
  const Result row = stored("VARBINARY(9)", "'seven77'");
  EXPECT_EQ(markedBlob(row.get(), 7), "seven77####"s);
}

TEST_P(BytesGetters, BlobIsCutToTheBuffer) {
  const Result row = stored("VARBINARY(9)", "'seven77'");
  EXPECT_EQ(markedBlob(row.get(), 6), "seven7####"s);
  EXPECT_EQ(markedBlob(row.get(), 1), "s####"s);
}

// Within the buffer the client library may write more than the value.
TEST_P(BytesGetters, BlobInALargerBufferComesFirstAndLeavesWhatIsBehindTheBuffer) {
  const Result row = stored("VARBINARY(9)", "'seven77'");
  const std::string buffer = markedBlob(row.get(), 12);
  EXPECT_EQ(buffer.substr(0, 7), "seven77");
  EXPECT_EQ(buffer.substr(12), "####");
}

TEST_P(BytesGetters, CutValueHasItsFullLengthInBytes) {
  const Result row = stored("VARCHAR(40)", "REPEAT('0123456789', 4)");
  EXPECT_EQ(markedText(row.get(), 16), "012345678901234\0####"s);
  EXPECT_EQ(markedBlob(row.get(), 16), "0123456789012345####"s);
  unsigned long bytes = 0;
  EXPECT_EQ(orv_db_result_column_bytes(row.get(), 0, &bytes), 0U);
  EXPECT_EQ(bytes, 40U);
}

TEST_P(BytesGetters, EmptyValueIsATerminatorAsTextAndNothingAsBlob) {
  const Result row = stored("BLOB", "''");
  EXPECT_EQ(markedText(row.get(), 1), "\0####"s);
  EXPECT_EQ(markedBlob(row.get(), 5), "#########"s);
  unsigned long bytes = 99;
  EXPECT_EQ(orv_db_result_column_bytes(row.get(), 0, &bytes), 0U);
  EXPECT_EQ(bytes, 0U);
}

TEST_P(BytesGetters, NulsAndQuotesInsideAreCopied) {
  const Result row = stored("BLOB", "X'61002762225C00FF'");
  EXPECT_EQ(markedBlob(row.get(), 8), "a\0'b\"\\\0\xff####"s);
  EXPECT_EQ(markedText(row.get(), 9), "a\0'b\"\\\0\xff\0####"s);
  EXPECT_EQ(markedText(row.get(), 4), "a\0'\0####"s);
}

TEST_P(BytesGetters, OneMegabyteIsCopiedWhole) {
  const Result row = stored("LONGTEXT", "REPEAT('0123456789abcdef', 65536)");
  const std::string bytes = bytesOf(row.get());
  ASSERT_EQ(bytes.size(), 1048576U);
  EXPECT_EQ(bytes.substr(0, 16), "0123456789abcdef");
  EXPECT_EQ(bytes.substr(1048560), "0123456789abcdef");
}

TEST_P(BytesGetters, CanReadTheSameValueAgain) {
  const Result row = stored("VARCHAR(9)", "'seven77'");
  EXPECT_EQ(markedText(row.get(), 3), "se\0####"s);
  EXPECT_EQ(textOf(row.get()), "seven77");
  EXPECT_EQ(bytesOf(row.get()), "seven77");
  EXPECT_EQ(textOf(row.get()), "seven77");
}

TEST_P(BytesGetters, NumbersAreReadAsText) {
  const Result row = stored("INT", "-1234567");
  EXPECT_EQ(textOf(row.get()), "-1234567");
  EXPECT_EQ(markedText(row.get(), 4), "-12\0####"s);
}

class RawBytesGetters : public QueryTest {};

TEST_F(RawBytesGetters, BlobInALargerBufferLeavesTheRest) {
  const QueryAnswer answer = raw("SELECT 'seven77'");
  ASSERT_EQ(orv_db_result_step(answer.rows.get()), 9U);
  EXPECT_EQ(markedBlob(answer.rows.get(), 9), "seven77######"s);
}

}  // namespace

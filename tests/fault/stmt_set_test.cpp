// The rows of a statement: how columns are bound and fetched, and what becomes of calls that fail.
#include "fault/fault_test.h"

namespace {

using ::testing::ElementsAre;

class StatementResult : public HandleTest {
 protected:
  StatementResult() {
    client().script.statementError = "the statement's error";
    client().script.columns = {{"n", MYSQL_TYPE_LONG}, {"t", MYSQL_TYPE_VAR_STRING}};
    client().script.rows = {{"5", "five"}, {"6", nullptr}};
  }

  StatementScript &select() { return client().statement("SELECT"); }

  unsigned int query() {
    ResultSetInfo *result = nullptr;
    const unsigned int status = orv_db_query(handle(), "t", nullptr, 0, nullptr, nullptr, 0, nullptr, &result);
    result_.reset(result);
    return status;
  }

  ResultSetInfo *result() const { return result_.get(); }
  void release() { result_.reset(); }
  unsigned int step() { return orv_db_result_step(result()); }

  void TearDown() override {
    release();
    HandleTest::TearDown();
  }

  static void useColumns(std::size_t count) {
    client().script.columns.assign(count, {"c", MYSQL_TYPE_LONG});
    client().script.rows = {ScriptedRow(count, "1")};
  }

 private:
  Result result_;
};

}  // namespace

TEST_F(StatementResult, BindsEveryColumnToOneScratchBufferOf16Bytes) {
  ASSERT_EQ(query(), 0U);
  const std::vector<Bound> &bound = client().boundColumns;
  ASSERT_EQ(bound.size(), 2U);
  EXPECT_EQ(bound[0].bind.buffer_type, MYSQL_TYPE_LONG);
  EXPECT_EQ(bound[1].bind.buffer_type, MYSQL_TYPE_VAR_STRING);
  EXPECT_EQ(bound[0].bind.buffer, bound[1].bind.buffer);
  for (const Bound &each : bound) {
    EXPECT_NE(each.bind.buffer, nullptr);
    EXPECT_EQ(each.bind.buffer_length, 16U);
  }
  EXPECT_EQ(bound[0].bind.is_null + 1, bound[1].bind.is_null);
  EXPECT_EQ(bound[0].bind.length + 1, bound[1].bind.length);
}

TEST_F(StatementResult, FetchesEachKindOfNumberWithItsTypeSizeAndSign) {
  ASSERT_EQ(query(), 0U);
  ASSERT_EQ(step(), 9U);
  char c = 0;
  unsigned char uc = 0;
  short s = 0;
  unsigned short us = 0;
  int i = 0;
  unsigned int ui = 0;
  long long i64 = 0;
  unsigned long long ui64 = 0;
  float f = 0;
  double d = 0;
  EXPECT_EQ(orv_db_result_column_char(result(), 0, &c), 0U);
  EXPECT_EQ(orv_db_result_column_uchar(result(), 0, &uc), 0U);
  EXPECT_EQ(orv_db_result_column_short_int(result(), 0, &s), 0U);
  EXPECT_EQ(orv_db_result_column_short_uint(result(), 0, &us), 0U);
  EXPECT_EQ(orv_db_result_column_int(result(), 0, &i), 0U);
  EXPECT_EQ(orv_db_result_column_uint(result(), 0, &ui), 0U);
  EXPECT_EQ(orv_db_result_column_int64(result(), 0, &i64), 0U);
  EXPECT_EQ(orv_db_result_column_uint64(result(), 0, &ui64), 0U);
  EXPECT_EQ(orv_db_result_column_float(result(), 0, &f), 0U);
  EXPECT_EQ(orv_db_result_column_double(result(), 0, &d), 0U);

  struct Expected {
    void *buffer;
    enum_field_types type;
    unsigned long size;
    my_bool isUnsigned;
  };
  const Expected expected[] = {
      {&c, MYSQL_TYPE_TINY, 1, 0},       {&uc, MYSQL_TYPE_TINY, 1, 1},       {&s, MYSQL_TYPE_SHORT, 2, 0},
      {&us, MYSQL_TYPE_SHORT, 2, 1},     {&i, MYSQL_TYPE_LONG, 4, 0},        {&ui, MYSQL_TYPE_LONG, 4, 1},
      {&i64, MYSQL_TYPE_LONGLONG, 8, 0}, {&ui64, MYSQL_TYPE_LONGLONG, 8, 1}, {&f, MYSQL_TYPE_FLOAT, 4, 0},
      {&d, MYSQL_TYPE_DOUBLE, 8, 0},
  };
  ASSERT_EQ(client().fetchedColumns.size(), std::size(expected));
  for (std::size_t n = 0; n < std::size(expected); ++n) {
    const MYSQL_BIND &bind = client().fetchedColumns[n].bind;
    EXPECT_EQ(bind.buffer, expected[n].buffer) << n;
    EXPECT_EQ(bind.buffer_type, expected[n].type) << n;
    EXPECT_EQ(bind.buffer_length, expected[n].size) << n;
    EXPECT_EQ(bind.is_unsigned, expected[n].isUnsigned) << n;
    EXPECT_NE(bind.length, nullptr) << n;
    EXPECT_NE(bind.is_null, nullptr) << n;
  }
  EXPECT_EQ(client().count("mysql_stmt_fetch_column 0 0"), std::size(expected));
}

TEST_F(StatementResult, FetchesTextAndBlobIntoTheCallersBuffer) {
  ASSERT_EQ(query(), 0U);
  ASSERT_EQ(step(), 9U);
  char text[8];
  unsigned char blob[2];
  EXPECT_EQ(orv_db_result_column_text(result(), 1, text, sizeof text), 0U);
  EXPECT_EQ(orv_db_result_column_blob(result(), 1, blob, sizeof blob), 0U);
  ASSERT_EQ(client().fetchedColumns.size(), 2U);
  const MYSQL_BIND &asText = client().fetchedColumns[0].bind;
  const MYSQL_BIND &asBlob = client().fetchedColumns[1].bind;
  EXPECT_EQ(asText.buffer_type, MYSQL_TYPE_STRING);
  EXPECT_EQ(asText.buffer, text);
  EXPECT_EQ(asText.buffer_length, sizeof text);
  EXPECT_EQ(asBlob.buffer_type, MYSQL_TYPE_BLOB);
  EXPECT_EQ(asBlob.buffer, blob);
  EXPECT_EQ(asBlob.buffer_length, sizeof blob);
  EXPECT_STREQ(text, "five");
  EXPECT_THAT(client().calls("mysql_stmt_fetch_column"),
              ElementsAre("mysql_stmt_fetch_column 1 0", "mysql_stmt_fetch_column 1 0"));
}

TEST_F(StatementResult, NullIsNeverFetched) {
  ASSERT_EQ(query(), 0U);
  ASSERT_EQ(step(), 9U);
  ASSERT_EQ(step(), 9U);
  int number = 7;
  char text[4] = "abc";
  unsigned char blob[2] = {1, 2};
  unsigned long bytes = 9;
  EXPECT_EQ(orv_db_result_column_int(result(), 1, &number), 0U);
  EXPECT_EQ(orv_db_result_column_text(result(), 1, text, sizeof text), 0U);
  EXPECT_EQ(orv_db_result_column_blob(result(), 1, blob, sizeof blob), 0U);
  EXPECT_EQ(orv_db_result_column_bytes(result(), 1, &bytes), 0U);
  EXPECT_EQ(number, 0);
  EXPECT_EQ(text[0], '\0');
  EXPECT_EQ(blob[0], 0);
  EXPECT_EQ(blob[1], 2);
  EXPECT_EQ(bytes, 0U);
  EXPECT_EQ(client().count("mysql_stmt_fetch_column"), 0U);
}

TEST_F(StatementResult, FailureToFetchAColumnIsNotReported) {
  ASSERT_EQ(query(), 0U);
  ASSERT_EQ(step(), 9U);
  select().fetchColumn = 2000;
  int number = 7;
  char text[4] = "abc";
  EXPECT_EQ(orv_db_result_column_int(result(), 0, &number), 0U);
  EXPECT_EQ(orv_db_result_column_text(result(), 1, text, sizeof text), 0U);
  EXPECT_STREQ(text, "");
  EXPECT_EQ(client().count("mysql_stmt_fetch_column"), 2U);
}

TEST_F(StatementResult, StepTakesTruncationForARow) {
  select().fetches = {0, MYSQL_DATA_TRUNCATED};
  ASSERT_EQ(query(), 0U);
  EXPECT_EQ(step(), 9U);
  EXPECT_EQ(step(), 9U);
}

TEST_F(StatementResult, StepThatFailsGives1AndLeavesTheRowAsItWas) {
  for (const int outcome : {1, -1, 99, 102, 2013, 2014}) {
    SCOPED_TRACE(outcome);
    int number = 0;
    select().fetches = {outcome};
    ASSERT_EQ(query(), 0U);
    EXPECT_EQ(step(), 1U);
    EXPECT_EQ(orv_db_result_column_int(result(), 0, &number), 11U);

    ASSERT_EQ(step(), 9U);
    select().fetches = {outcome};
    EXPECT_EQ(step(), 1U);
    EXPECT_EQ(orv_db_result_column_int(result(), 0, &number), 0U);
    EXPECT_EQ(number, 5);

    select().fetches = {MYSQL_NO_DATA};
    EXPECT_EQ(step(), 10U);
    EXPECT_EQ(orv_db_result_column_int(result(), 0, &number), 11U);
  }
}

TEST_F(StatementResult, ColumnsWithoutAFieldHaveNoNameAndTheirTypeIsNotWritten) {
  ASSERT_EQ(query(), 0U);
  auto type = ORV_DB_TYPE_BLOB;
  client().script.hasFields = false;
  EXPECT_EQ(orv_db_result_column_name(result(), 0), nullptr);
  EXPECT_EQ(orv_db_result_column_type(result(), 0, &type), 0U);
  EXPECT_EQ(type, ORV_DB_TYPE_BLOB);
  client().script.hasFields = true;
  EXPECT_STREQ(orv_db_result_column_name(result(), 0), "n");
  EXPECT_EQ(orv_db_result_column_type(result(), 0, &type), 0U);
  EXPECT_EQ(type, ORV_DB_TYPE_INT);
}

TEST_F(StatementResult, ColumnsWithoutANameOrAListAreNotFound) {
  client().script.columns[0].name = nullptr;
  ASSERT_EQ(query(), 0U);
  EXPECT_EQ(orv_db_result_column_name(result(), 0), nullptr);
  EXPECT_EQ(orv_db_result_column_index(result(), "T"), 1);
  client().script.hasFieldList = false;
  EXPECT_EQ(orv_db_result_column_index(result(), "T"), -1);
}

// The statement's text is short enough to need none either.
TEST_F(StatementResult, Of32ColumnsNeedsNoHeap) {
  useColumns(32);
  unsigned int status = 1;
  EXPECT_EQ(withEachAllocationFailing([&] { status = query(); }, [] {}), 0);
  EXPECT_EQ(status, 0U);
}

TEST_F(StatementResult, Of33ColumnsGives4WhenAnyOfItsThreeArraysIsMissing) {
  useColumns(33);
  unsigned int status = 1;
  const auto failingQuery = [&] {
    client().forgetCalls();
    status = query();
  };
  const auto check = [&] {
    EXPECT_EQ(status, 4U);
    EXPECT_EQ(result(), nullptr);
    EXPECT_STREQ(errorText(), "the statement's error");
    EXPECT_EQ(client().count("mysql_stmt_bind_result"), 0U);
    EXPECT_EQ(client().count("mysql_stmt_close"), 1U);
    EXPECT_EQ(client().count("mysql_free_result"), 1U);
  };
  EXPECT_EQ(withEachAllocationFailing(failingQuery, check), 3);
  EXPECT_EQ(status, 0U);
}

TEST_F(StatementResult, ReleaseFreesTheMetadataAndThenClosesTheStatementOnce) {
  ASSERT_EQ(query(), 0U);
  client().forgetCalls();
  release();
  EXPECT_THAT(client().calls(),
              ElementsAre("lock statement pool", "mysql_free_result", "mysql_stmt_close", "unlock statement pool"));
}

TEST_F(StatementResult, ReleaseInAForkedChildLeavesTheStatementAlone) {
  ASSERT_EQ(query(), 0U);
  const pid_t child = fork();
  if (child == 0) {
    release();
    _exit(client().count("mysql_free_result") == 1 && client().count("mysql_stmt_close") == 0 ? 0 : 1);
  }
  EXPECT_TRUE(endedWell(child));
}

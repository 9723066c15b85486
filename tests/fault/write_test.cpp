// Inserts, updates and deletes: what each tells the client library, and every call that can fail on the way.
#include <functional>

#include "fault/fault_test.h"

namespace {

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;

struct Write {
  const char *firstWord;
  std::string text;
  std::uint8_t action;
  std::function<int(_orv_db_handle_t *handle, unsigned long long *affectedRows)> run;
};

class WriteTest : public AnnouncingTest {
 protected:
  WriteTest() {
    client().script.statementError = "the statement's error";
    client().script.columns = {{"_id", MYSQL_TYPE_LONGLONG}};
    client().script.rows = {{"17"}};
    client().statement("INSERT").insertId = 42;
    orv_db_content_put_int(content_.get(), "a", 1);
    param_.type = ORV_DB_TYPE_INT;
  }

  int insert(unsigned long long *affectedRows = nullptr, unsigned long long *insertId = nullptr) {
    return orv_db_insert(handle(), kTable, content_.get(), affectedRows, insertId);
  }
  int update(unsigned long long *affectedRows = nullptr) {
    return orv_db_update(handle(), kTable, content_.get(), "b=?", &param_, 1, affectedRows);
  }
  int remove(unsigned long long *affectedRows = nullptr) {
    return orv_db_delete(handle(), kTable, "b=?", &param_, 1, affectedRows);
  }

  std::vector<Write> writes() {
    const std::string table = kTable;
    using Rows = unsigned long long *;
    return {{"INSERT", "INSERT INTO " + table + "(a) VALUES (?)", 1,
             [this](_orv_db_handle_t *, Rows rows) { return insert(rows); }},
            {"UPDATE", "UPDATE " + table + " SET a=? WHERE b=?", 2,
             [this](_orv_db_handle_t *, Rows rows) { return update(rows); }},
            {"DELETE", "DELETE FROM " + table + " WHERE b=?", 4,
             [this](_orv_db_handle_t *, Rows rows) { return remove(rows); }}};
  }

  // Fails with this status and text, nothing counted, announced or left open.
  void expectFailure(const Write &write, int status, const char *text) {
    leaveErrorText();
    unsigned long long affectedRows = 9;
    EXPECT_EQ(write.run(handle(), &affectedRows), status);
    EXPECT_EQ(affectedRows, 0U);
    EXPECT_STREQ(errorText(), text);
    EXPECT_THAT(announced(), ElementsAre());
    EXPECT_EQ(client().count("mysql_stmt_close"), client().count("mysql_stmt_prepare"));
    EXPECT_EQ(client().openStatements.size(), 0U);
  }

  ContentValues content_{orv_db_get_content_values()};
  _orv_db_param_t param_{};
};

// What follows a statement that was executed: its counters are read without the lock, it is closed under it, and the
// change is announced with the registry locked before the handle.
const Calls kAfterExecution = {"mysql_stmt_execute",   "unlock handle",        "mysql_stmt_affected_rows",
                               "mysql_stmt_insert_id", "lock handle",          "mysql_stmt_close",
                               "unlock handle",        "mariadb_get_infov 30", "read-lock registry",
                               "lock handle",          "unlock handle",        "unlock registry"};

}  // namespace

TEST_F(WriteTest, PreparesAndBindsUnderTheLockAndClosesUnderItToo) {
  for (const Write &write : writes()) {
    SCOPED_TRACE(write.firstWord);
    client().forgetCalls();
    unsigned long long affectedRows = 0;
    EXPECT_EQ(write.run(handle(), &affectedRows), 0);
    EXPECT_EQ(affectedRows, 1U);
    Calls expected = {"lock handle", "mysql_stmt_init", "mysql_stmt_prepare " + write.text, "mysql_stmt_param_count",
                      "mysql_stmt_bind_param"};
    expected.insert(expected.end(), kAfterExecution.begin(), kAfterExecution.end());
    EXPECT_THAT(lastCalls(expected.size()), ElementsAreArray(expected));
  }
  EXPECT_THAT(announced(), ElementsAre(change(kTable, 1, 42), change(kTable, 2, 17), change(kTable, 4, kAllBitsSet)));
}

TEST_F(WriteTest, UpdateLooksTheRowIdUpInOneHoldOfTheLock) {
  EXPECT_EQ(update(), 0);
  EXPECT_THAT(firstCalls(18), ElementsAre("lock handle", "mysql_stmt_init",
                                          std::string("mysql_stmt_prepare SELECT _id FROM ") + kTable + " WHERE b=?",
                                          "mysql_stmt_param_count", "mysql_stmt_bind_param", "mysql_stmt_execute",
                                          "mysql_stmt_result_metadata", "mysql_num_fields", "mysql_fetch_fields",
                                          "mysql_stmt_bind_result", "mysql_stmt_store_result", "mysql_stmt_fetch",
                                          "mysql_stmt_fetch_column 0 0", "mysql_free_result", "mysql_stmt_close",
                                          "unlock handle", "lock handle", "mysql_stmt_init"));
  ASSERT_EQ(client().fetchedColumns.size(), 1U);
  EXPECT_EQ(client().fetchedColumns[0].bind.buffer_type, MYSQL_TYPE_LONGLONG);
  EXPECT_EQ(client().fetchedColumns[0].bind.is_unsigned, 1);
}

TEST_F(WriteTest, FailureOfStatementInitGives4AndNoText) {
  for (const Write &write : writes()) {
    SCOPED_TRACE(write.firstWord);
    const int lookups = write.action == 2 ? 1 : 0;
    client().script.failingStatementInit = lookups + 1;
    expectFailure(write, 4, "");
    EXPECT_THAT(lastCalls(3), ElementsAre("lock handle", "mysql_stmt_init", "unlock handle"));
  }
}

TEST_F(WriteTest, MapsTheValueThatAFailedPrepareReturned) {
  for (const Write &write : writes()) {
    for (const auto &[code, status] : mappedCodes()) {
      SCOPED_TRACE(write.firstWord + std::to_string(code));
      client().statement(write.firstWord).prepare = code;
      expectFailure(write, status, "the statement's error");
    }
  }
}

TEST_F(WriteTest, MapsTheValueThatAFailedExecuteReturned) {
  for (const Write &write : writes()) {
    for (const auto &[code, status] : mappedCodes()) {
      SCOPED_TRACE(write.firstWord + std::to_string(code));
      client().statement(write.firstWord).execute = code;
      expectFailure(write, status, "the statement's error");
    }
  }
}

TEST_F(WriteTest, FailureOfBindGives1AndTheText) {
  for (const Write &write : writes()) {
    SCOPED_TRACE(write.firstWord);
    client().statement(write.firstWord).bindParam = 1;
    expectFailure(write, 1, "the statement's error");
    EXPECT_THAT(lastCalls(4),
                ElementsAre("mysql_stmt_bind_param", "mysql_stmt_error", "mysql_stmt_close", "unlock handle"));
  }
}

TEST_F(WriteTest, ParameterCountThatDiffersGives3AndNoText) {
  for (const Write &write : writes()) {
    SCOPED_TRACE(write.firstWord);
    client().statement(write.firstWord).parameterCount = 7;
    expectFailure(write, 3, "");
    EXPECT_THAT(lastCalls(3), ElementsAre("mysql_stmt_param_count", "mysql_stmt_close", "unlock handle"));
  }
}

TEST_F(WriteTest, FailedInsertLeavesTheInsertIdAt0) {
  client().statement("INSERT").execute = 1;
  unsigned long long insertId = 9;
  EXPECT_EQ(insert(nullptr, &insertId), 1);
  EXPECT_EQ(insertId, 0U);
}

TEST_F(WriteTest, FailureWithoutAMessageLeavesNoText) {
  client().script.statementError = nullptr;
  for (const Write &write : writes()) {
    SCOPED_TRACE(write.firstWord);
    client().statement(write.firstWord).execute = 1;
    expectFailure(write, 1, "");
  }
}

// A failed lookup is no failure of the update: it runs, leaves no text, and announces the unknown row.
TEST_F(WriteTest, UpdateTakesEveryFailureOfItsLookupForAnUnknownRow) {
  const std::vector<std::function<void(StatementScript &)>> failures = {
      [](StatementScript &) { client().script.failingStatementInit = 1; },
      [](StatementScript &lookup) { lookup.prepare = 1054; },
      [](StatementScript &lookup) { lookup.parameterCount = 2; },
      [](StatementScript &lookup) { lookup.bindParam = 1; },
      [](StatementScript &lookup) { lookup.execute = 2013; },
      [](StatementScript &lookup) { lookup.hasMetadata = false; },
      [](StatementScript &) { client().script.columns.clear(); },
      [](StatementScript &) { client().script.hasFieldList = false; },
      [](StatementScript &lookup) { lookup.bindResult = 1; },
      [](StatementScript &lookup) { lookup.storeResult = 2008; },
      [](StatementScript &lookup) { lookup.fetches = {1}; },
      [](StatementScript &lookup) { lookup.fetches = {MYSQL_NO_DATA}; },
  };
  const ClientScript unscathed = client().script;
  for (std::size_t i = 0; i < failures.size(); ++i) {
    SCOPED_TRACE(i);
    client().script = unscathed;
    client().statement("SELECT") = StatementScript();
    client().forgetCalls();
    failures[i](client().statement("SELECT"));
    unsigned long long affectedRows = 0;
    EXPECT_EQ(update(&affectedRows), 0);
    EXPECT_EQ(affectedRows, 1U);
    EXPECT_STREQ(errorText(), "");
    EXPECT_THAT(announced(), ElementsAre(change(kTable, 2, kAllBitsSet)));
    EXPECT_EQ(client().count("mysql_stmt_close"), client().count("mysql_stmt_prepare"));
  }
}

TEST_F(WriteTest, UpdateClosesAStatementWhoseRowsCannotBeStoredInTheHoldOfItsLookup) {
  client().statement("SELECT").storeResult = 1;
  EXPECT_EQ(update(), 0);
  EXPECT_THAT(firstCalls(15), ElementsAre("lock handle", "mysql_stmt_init",
                                          std::string("mysql_stmt_prepare SELECT _id FROM ") + kTable + " WHERE b=?",
                                          "mysql_stmt_param_count", "mysql_stmt_bind_param", "mysql_stmt_execute",
                                          "mysql_stmt_result_metadata", "mysql_num_fields", "mysql_fetch_fields",
                                          "mysql_stmt_bind_result", "mysql_stmt_store_result", "mysql_free_result",
                                          "mysql_stmt_close", "unlock handle", "lock handle"));
}

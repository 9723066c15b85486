// Every allocation that the library makes fails once. Whatever fails, no lock is left held and nothing leaks: the call
// after it works, a fork works, and the sanitizer's run finds all memory released.
#include <algorithm>

#include "core/change_report.h"
#include "core/connection.h"
#include "fault/fault_test.h"

namespace {

using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::StartsWith;

constexpr char kLongValue[] = "a value that does not fit into a short string";

class OpenAllocationFailure : public FaultTest {};

class AllocationFailure : public AnnouncingTest {
 protected:
  AllocationFailure() {
    orv_db_content_put_text(content_.get(), "a_column_with_a_long_name", kLongValue);
    client().script.columns = {{"_id", MYSQL_TYPE_LONGLONG}};
    client().script.rows = {{"17"}};
    client().statement("INSERT").insertId = 42;
    param_.type = ORV_DB_TYPE_INT;
  }

  std::vector<std::string> newLogLines() {
    const std::vector<std::string> all = log_.texts();
    const std::vector<std::string> fresh(all.begin() + static_cast<std::ptrdiff_t>(linesSeen_), all.end());
    linesSeen_ = all.size();
    return fresh;
  }

  // Runs a write with each of its allocations failing. Before the statement is executed that gives 4 and nothing was
  // done; afterwards it gives 0, nothing is announced, and one line in the log says so.
  template <class Operation>
  void expectDoneOrNotDone(Operation write, const char *firstWord, const PeerRecord &announcement) {
    int status = -1;
    int notDone = 0;
    int done = 0;
    const auto executions = [&] {
      const auto begins = [&](const std::string &text) { return text.rfind(firstWord, 0) == 0; };
      return std::count_if(client().executed.begin(), client().executed.end(), begins);
    };
    const auto check = [&] {
      EXPECT_THAT(announced(), ElementsAre());
      if (executions() == 0) {
        ++notDone;
        EXPECT_EQ(status, 4);
        EXPECT_EQ(affectedRows_, 0U);
        EXPECT_THAT(newLogLines(), ElementsAre());
      } else {
        ++done;
        EXPECT_EQ(status, 0);
        EXPECT_EQ(affectedRows_, 1U);
        EXPECT_THAT(newLogLines(), ElementsAre(AllOf(StartsWith("[DBAPI] report_change:out of memory"),
                                                     HasSubstr(announcement.message().table))));
      }
      client().executed.clear();
      EXPECT_TRUE(forkWorks());
    };
    withEachAllocationFailing([&] { status = write(); }, check);
    EXPECT_GT(notDone, 0);
    EXPECT_GT(done, 0);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(executions(), 1);
    EXPECT_THAT(newLogLines(), ElementsAre());
    EXPECT_THAT(announced(), ElementsAre(announcement));
  }

  ContentValues content_{orv_db_get_content_values()};
  _orv_db_param_t param_{};
  unsigned long long affectedRows_ = 9;

 private:
  std::size_t linesSeen_ = 0;
};

}  // namespace

TEST_F(OpenAllocationFailure, GivesNullAndItsTextAndLeavesNothingBehind) {
  Handle opened;
  const auto check = [&] {
    EXPECT_EQ(opened, nullptr);
    EXPECT_STREQ(errorText(), "out of memory");
    EXPECT_EQ(client().connections.size(), 0U);
    EXPECT_EQ(s_mapConnInfo->size(), 0U);
    EXPECT_EQ(s_mapPendingTables->size(), 0U);
    EXPECT_TRUE(forkWorks());
  };
  EXPECT_GE(withEachAllocationFailing([&] { opened = openHandle(); }, check), 4);
  EXPECT_NE(opened, nullptr);
  EXPECT_STREQ(errorText(), "");
}

TEST_F(AllocationFailure, RawQueryWithoutRowsNeedsNone) {
  unsigned int status = 1;
  EXPECT_EQ(withEachAllocationFailing([&] { status = orv_db_raw_query(handle(), "DO 1", 4, nullptr); }, [] {}), 0);
  EXPECT_EQ(status, 0U);
}

TEST_F(AllocationFailure, RawQueryGives4AndNoResultAndFreesItsRows) {
  client().script.storesResult = true;
  std::vector<Result> pool(5);
  for (Result &slot : pool) {
    ResultSetInfo *result = nullptr;
    ASSERT_EQ(orv_db_raw_query(handle(), "SHOW", 4, &result), 0U);
    slot.reset(result);
  }
  ResultSetInfo *result = nullptr;
  unsigned int status = 0;
  const auto check = [&] {
    EXPECT_EQ(status, 4U);
    EXPECT_EQ(result, nullptr);
    EXPECT_EQ(client().openResults.size(), pool.size());
    EXPECT_TRUE(forkWorks());
  };
  const auto query = [&] { status = orv_db_raw_query(handle(), "SHOW", 4, &result); };
  EXPECT_EQ(withEachAllocationFailing(query, check), 1);
  EXPECT_EQ(status, 0U);
  EXPECT_NE(result, nullptr);
  orv_db_free_result(result);
}

TEST_F(AllocationFailure, QueryGives4AndNoResultAndClosesItsStatement) {
  client().script.columns.assign(33, {"c", MYSQL_TYPE_LONG});
  client().script.rows.clear();
  ResultSetInfo *result = nullptr;
  unsigned int status = 0;
  const auto query = [&] { status = orv_db_query(handle(), kTable, nullptr, 0, "a=?", &param_, 1, nullptr, &result); };
  std::vector<Result> pool(5);
  for (Result &slot : pool) {
    query();
    ASSERT_EQ(status, 0U);
    slot.reset(result);
  }
  const auto check = [&] {
    EXPECT_EQ(status, 4U);
    EXPECT_EQ(result, nullptr);
    EXPECT_EQ(client().openStatements.size(), pool.size());
    EXPECT_TRUE(forkWorks());
  };
  // The text, the binds, the result set and its three arrays.
  EXPECT_GE(withEachAllocationFailing(query, check), 6);
  EXPECT_EQ(status, 0U);
  EXPECT_NE(result, nullptr);
  orv_db_free_result(result);
}

TEST_F(AllocationFailure, InsertIsNotDoneOrDoneAndLogged) {
  const auto insert = [&] { return orv_db_insert(handle(), kTable, content_.get(), &affectedRows_, nullptr); };
  expectDoneOrNotDone(insert, "INSERT", change(kTable, 1, 42));
}

TEST_F(AllocationFailure, DeleteIsNotDoneOrDoneAndLogged) {
  const auto remove = [&] { return orv_db_delete(handle(), kTable, "b=?", &param_, 1, &affectedRows_); };
  expectDoneOrNotDone(remove, "DELETE", change(kTable, 4, kAllBitsSet));
}

// A lookup that fails for lack of memory is no failure of the update.
TEST_F(AllocationFailure, UpdateIsNotDoneOrDoneWithItsRowOrAnUnknownOne) {
  int status = -1;
  int withoutRowId = 0;
  int notDone = 0;
  int unannounced = 0;
  const auto check = [&] {
    const std::vector<PeerRecord> announcements = announced();
    const std::vector<std::string> lines = newLogLines();
    const auto updates = std::count_if(client().executed.begin(), client().executed.end(),
                                       [](const std::string &text) { return text.rfind("UPDATE", 0) == 0; });
    client().executed.clear();
    EXPECT_TRUE(forkWorks());
    if (updates == 0) {
      ++notDone;
      EXPECT_EQ(status, 4);
      EXPECT_EQ(affectedRows_, 0U);
      EXPECT_THAT(announcements, ElementsAre());
      EXPECT_THAT(lines, ElementsAre());
      return;
    }
    EXPECT_EQ(status, 0);
    EXPECT_EQ(affectedRows_, 1U);
    if (announcements.empty()) {
      ++unannounced;
      EXPECT_THAT(lines, ElementsAre(StartsWith("[DBAPI] report_change:out of memory")));
    } else {
      ++withoutRowId;
      EXPECT_THAT(announcements, ElementsAre(change(kTable, 2, kAllBitsSet)));
      EXPECT_THAT(lines, ElementsAre());
    }
  };
  const auto update = [&] {
    status = orv_db_update(handle(), kTable, content_.get(), "b=?", &param_, 1, &affectedRows_);
  };
  withEachAllocationFailing(update, check);
  EXPECT_GT(notDone, 0);
  EXPECT_GE(withoutRowId, 2);  // the lookup's text and its binds
  EXPECT_GT(unannounced, 0);
  EXPECT_EQ(status, 0);
  EXPECT_THAT(announced(), ElementsAre(change(kTable, 2, 17)));
}

TEST_F(AllocationFailure, LoggedInsertIsLoggedWholeOrNotDone) {
  const std::string line =
      std::string("[INSERT INTO Firmwares(a_column_with_a_long_name) VALUES ('") + kLongValue + "')] Process: ";
  int status = -1;
  const auto check = [&] {
    EXPECT_EQ(status, client().executed.empty() ? 4 : 0);
    std::vector<std::string> processLines;
    for (const std::string &text : newLogLines()) {
      if (text.find("Process: ") != std::string::npos) processLines.push_back(text);
    }
    EXPECT_EQ(processLines.size(), client().executed.size());
    for (const std::string &text : processLines)
      EXPECT_THAT(text, HasSubstr(line));
    client().executed.clear();
  };
  const auto insert = [&] { status = orv_db_insert(handle(), "Firmwares", content_.get(), nullptr, nullptr); };
  EXPECT_GT(withEachAllocationFailing(insert, check), 0);
  check();
}

TEST_F(AllocationFailure, WriteInATransactionIsNotDoneOrDoneAndLogged) {
  ASSERT_EQ(orv_db_begin_transaction(handle()), 0);
  newLogLines();
  int status = -1;
  int lost = 0;
  const auto check = [&] {
    const std::size_t lines = newLogLines().size();
    EXPECT_EQ(lines, client().executed.size());
    EXPECT_EQ(status, client().executed.empty() ? 4 : 0);
    lost += static_cast<int>(lines);
    client().executed.clear();
    EXPECT_TRUE(forkWorks());
  };
  const auto remove = [&] { status = orv_db_delete(handle(), kTable, nullptr, nullptr, 0, nullptr); };
  withEachAllocationFailing(remove, check);
  EXPECT_EQ(lost, 2);  // the set's node and the name in it
  EXPECT_EQ(status, 0);
  ASSERT_EQ(orv_db_commit_transaction(handle()), 0);
  EXPECT_THAT(announced(), ElementsAre(change(kTable, 7, 0)));
}

TEST_F(AllocationFailure, CommitGives0AndLogsWhatItCannotAnnounce) {
  ASSERT_EQ(orv_db_begin_transaction(handle()), 0);
  ASSERT_EQ(orv_db_delete(handle(), kTable, nullptr, nullptr, 0, nullptr), 0);
  newLogLines();
  int status = -1;
  const auto check = [&] {
    EXPECT_EQ(status, 0);
    EXPECT_THAT(announced(), ElementsAre());
    int lost = 0;
    for (const std::string &text : newLogLines()) {
      if (text.find("report_change:out of memory") != std::string::npos) ++lost;
    }
    EXPECT_EQ(lost, 1);
    EXPECT_TRUE(forkWorks());
  };
  // The copy of the set, two allocations, and the database's name.
  EXPECT_EQ(withEachAllocationFailing([&] { status = orv_db_commit_transaction(handle()); }, check), 3);
  EXPECT_EQ(status, 0);
  EXPECT_THAT(announced(), ElementsAre(change(kTable, 7, 0)));
}

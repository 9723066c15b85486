// orv_db_insert: statuses, counters, error text, statement text and announcements.
#include <future>

#include "client_calls.h"
#include "content_test.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

constexpr unsigned long long kUntouched = 77;

// The text of an upsert, made by a table text: the server then reports 0 affected rows for a row that is there already
// with just these values. What follows "#" is a comment.
constexpr char kUpsert[] = "t(a) VALUES (?) ON DUPLICATE KEY UPDATE a=a #";

class Insert : public TableTest {
 public:
  Insert() { sql("CREATE TABLE t (_id BIGINT UNSIGNED PRIMARY KEY AUTO_INCREMENT, a INT UNIQUE, b VARCHAR(20))"); }

  // Both counters come back as well.
  int insert(const std::string &table, const Content &content) {
    return orv_db_insert(handle(), table.c_str(), content, &affected, &id);
  }

  // Returns when a statement runs the server's function SLEEP.
  void waitForSleep() {
    const std::string sleeping =
        "SELECT 1 FROM information_schema.processlist WHERE state='User sleep' AND db=DATABASE()";
    if (!waitUntil([&] { return !rows(sleeping).empty(); })) throw std::runtime_error("no statement sleeps");
  }

  unsigned long long affected = kUntouched;
  unsigned long long id = kUntouched;
};

}  // namespace

TEST_F(Insert, StoresTheRowAndReturns0) {
  EXPECT_EQ(insert("t", Content().with("a", 1).with("b", "x")), ORV_DB_OK);
  EXPECT_EQ(rows("SELECT a, b FROM t"), (std::vector<Row>{{"1", "x"}}));
}

TEST_F(Insert, GivesTheNumberOfRowsAndTheNewId) {
  sql("INSERT INTO t (_id, a) VALUES (41, 41)");
  EXPECT_EQ(insert("t", Content().with("a", 1)), ORV_DB_OK);
  EXPECT_EQ(affected, 1U);
  EXPECT_EQ(id, 42U);
}

TEST_F(Insert, TakesNullForEitherCounter) {
  EXPECT_EQ(orv_db_insert(handle(), "t", Content().with("a", 1), nullptr, &id), ORV_DB_OK);
  EXPECT_EQ(orv_db_insert(handle(), "t", Content().with("a", 2), &affected, nullptr), ORV_DB_OK);
  EXPECT_EQ(orv_db_insert(handle(), "t", Content().with("a", 3), nullptr, nullptr), ORV_DB_OK);
  EXPECT_EQ(id, 1U);
  EXPECT_EQ(affected, 1U);
  EXPECT_THAT(rows("SELECT a FROM t"), ::testing::SizeIs(3));
}

TEST_F(Insert, RunsAStatementWithOnePlaceholderPerColumnInByteOrder) {
  insert("t", Content().with("b", "x").with("a", 1));
  insert("other", Content().with("b", 1).with("A", 2).with("a", 3));
  EXPECT_THAT(preparedTexts(),
              ElementsAre("INSERT INTO t(a,b) VALUES (?,?)", "INSERT INTO other(A,a,b) VALUES (?,?,?)"));
}

TEST_F(Insert, SeparatesAnEmptyColumnNameFromTheNextOne) {
  EXPECT_EQ(insert("t", Content().with("", 1).with("a", 2)), ORV_DB_ERROR);
  EXPECT_THAT(preparedTexts(), ElementsAre("INSERT INTO t(,a) VALUES (?,?)"));
}

TEST_F(Insert, TakesNamesThatTheCallerHasQuoted) {
  sql("CREATE TABLE `odd name` (`group` INT)");
  EXPECT_EQ(insert("`odd name`", Content().with("`group`", 5)), ORV_DB_OK) << errorText();
  EXPECT_EQ(rows("SELECT * FROM `odd name`"), (std::vector<Row>{{"5"}}));
  EXPECT_THAT(announced(), ElementsAre(inserted("`odd name`", 0)));
}

TEST_F(Insert, LeavesTheContainerAsItWasForFurtherStatements) {
  const Content content = Content().with("b", "same");
  EXPECT_EQ(insert("t", content), ORV_DB_OK);
  EXPECT_EQ(insert("t", content), ORV_DB_OK);
  EXPECT_EQ(orv_db_update(handle(), "t", content, "_id=1", nullptr, 0, &affected), ORV_DB_OK);
  EXPECT_EQ(affected, 0U);
  EXPECT_EQ(rows("SELECT b FROM t"), (std::vector<Row>{{"same"}, {"same"}}));
}

// --- announcements ---

TEST_F(Insert, AnnouncesTheFirst63CharactersOfATableName) {
  const std::string longest(64, 'n');
  sql("CREATE TABLE " + longest + " (a INT)");
  EXPECT_EQ(insert(longest, Content().with("a", 1)), ORV_DB_OK) << errorText();
  EXPECT_THAT(announced(), ElementsAre(inserted(std::string(63, 'n'), 0)));
}

TEST_F(Insert, AnnouncesTheNewIdAtOnce) {
  insert("t", Content().with("a", 1));
  EXPECT_THAT(announced(), ElementsAre(inserted("t", 1)));
  insert("t", Content().with("a", 2));
  EXPECT_THAT(announced(), ElementsAre(inserted("t", 2)));
}

TEST_F(Insert, AnnouncesAnIdOf64Bits) {
  sql("ALTER TABLE t AUTO_INCREMENT=18446744073709551610");
  EXPECT_EQ(insert("t", Content().with("a", 1)), ORV_DB_OK) << errorText();
  EXPECT_EQ(id, 18446744073709551610ULL);
  EXPECT_THAT(announced(), ElementsAre(inserted("t", 18446744073709551610ULL)));
}

TEST_F(Insert, AnnouncesTheIdThoughTheCallerDoesNotAskForIt) {
  EXPECT_EQ(orv_db_insert(handle(), "t", Content().with("a", 1), nullptr, nullptr), ORV_DB_OK);
  EXPECT_THAT(announced(), ElementsAre(inserted("t", 1)));
}

TEST_F(Insert, AnnouncesRowZeroForATableWithoutAutoIncrement) {
  sql("CREATE TABLE plain (a INT)");
  EXPECT_EQ(insert("plain", Content().with("a", 9)), ORV_DB_OK);
  EXPECT_EQ(id, 0U);
  EXPECT_THAT(announced(), ElementsAre(inserted("plain", 0)));
}

TEST_F(Insert, ThatAffectsNoRowsReturns0AndAnnouncesNothing) {
  EXPECT_EQ(insert(kUpsert, Content().with("a", 1)), ORV_DB_OK) << errorText();
  EXPECT_EQ(affected, 1U);
  EXPECT_THAT(announced(), ElementsAre(inserted(kUpsert, 1)));
  affected = kUntouched;
  EXPECT_EQ(insert(kUpsert, Content().with("a", 1)), ORV_DB_OK) << errorText();
  EXPECT_EQ(affected, 0U);
  EXPECT_THAT(announced(), IsEmpty());
}

TEST_F(Insert, ThatAffectsNoRowsInsideATransactionIsReportedAllTheSame) {
  sql("INSERT INTO t (a) VALUES (1)");
  ASSERT_EQ(orv_db_begin_transaction(handle()), ORV_DB_OK);
  EXPECT_EQ(insert(kUpsert, Content().with("a", 1)), ORV_DB_OK) << errorText();
  EXPECT_EQ(affected, 0U);
  EXPECT_THAT(announced(), IsEmpty());
  ASSERT_EQ(orv_db_commit_transaction(handle()), ORV_DB_OK);
  EXPECT_THAT(announced(), ElementsAre(committed(kUpsert)));
}

TEST_F(Insert, InsideATransactionIsAnnouncedAtTheCommitAsAChangeOfTheTable) {
  ASSERT_EQ(orv_db_begin_transaction(handle()), ORV_DB_OK);
  EXPECT_EQ(insert("t", Content().with("a", 1)), ORV_DB_OK);
  EXPECT_EQ(id, 1U);
  EXPECT_THAT(announced(), IsEmpty());
  ASSERT_EQ(orv_db_commit_transaction(handle()), ORV_DB_OK);
  EXPECT_THAT(announced(), ElementsAre(committed("t")));
}

TEST_F(Insert, OfSeveralRowsGivesTheirNumberAndAnnouncesTheFirstId) {
  EXPECT_EQ(insert("t(a) VALUES (?),(5),(6) #", Content().with("a", 4)), ORV_DB_OK) << errorText();
  EXPECT_EQ(affected, 3U);
  EXPECT_THAT(announced(), ElementsAre(inserted("t(a) VALUES (?),(5),(6) #", 1)));
}

// --- failures ---

TEST_F(Insert, Returns3ForANullArgumentAndRunsNothing) {
  const Content content = Content().with("a", 1);
  EXPECT_EQ(orv_db_insert(nullptr, "t", content, nullptr, nullptr), ORV_DB_INVALID_ARGUMENT);
  EXPECT_EQ(orv_db_insert(handle(), nullptr, content, nullptr, nullptr), ORV_DB_INVALID_ARGUMENT);
  EXPECT_EQ(orv_db_insert(handle(), "t", nullptr, nullptr, nullptr), ORV_DB_INVALID_ARGUMENT);
  EXPECT_THAT(preparedTexts(), IsEmpty());
  EXPECT_EQ(insert("t", content), ORV_DB_OK);
  EXPECT_THAT(announced(), ElementsAre(inserted("t", 1)));
}

TEST_F(Insert, Returns3ForAnEmptyContainerAndRunsNothing) {
  EXPECT_EQ(insert("t", Content()), ORV_DB_INVALID_ARGUMENT);
  EXPECT_THAT(preparedTexts(), IsEmpty());
  EXPECT_EQ(insert("t", Content().with("a", 1)), ORV_DB_OK);
  EXPECT_THAT(announced(), ElementsAre(inserted("t", 1)));
}

TEST_F(Insert, Returns3WhenThePlaceholdersAreNotAsManyAsTheValues) {
  EXPECT_EQ(insert("t(a,b) VALUES (?,?) #", Content().with("a", 1)), ORV_DB_INVALID_ARGUMENT);
  EXPECT_STREQ(errorText(), "");
  EXPECT_EQ(affected, 0U);
  EXPECT_EQ(id, 0U);
  EXPECT_THAT(announced(), IsEmpty());
  EXPECT_EQ(insert("t(a,b) VALUES (?,?) #", Content().with("a", 1).with("b", "x")), ORV_DB_OK);
  EXPECT_THAT(announced(), ElementsAre(inserted("t(a,b) VALUES (?,?) #", 1)));
}

TEST_F(Insert, Returns1WhenTheStatementCannotBePrepared) {
  EXPECT_EQ(insert("missing", Content().with("a", 1)), ORV_DB_ERROR);
  EXPECT_EQ(errorText(), "Table '" + std::string(db()) + ".missing' doesn't exist");
}

TEST_F(Insert, Returns1WhenTheStatementCannotBeRun) {
  sql("INSERT INTO t (a) VALUES (1)");
  EXPECT_EQ(insert("t", Content().with("a", 1)), ORV_DB_ERROR);
  EXPECT_STREQ(errorText(), "Duplicate entry '1' for key 'a'");
}

TEST_F(Insert, ThatFailsLeavesBothCountersAtZero) {
  EXPECT_EQ(insert("missing", Content().with("a", 1)), ORV_DB_ERROR);
  EXPECT_EQ(affected, 0U);
  EXPECT_EQ(id, 0U);
}

TEST_F(Insert, WithAnInvalidArgumentSetsBothCountersToZero) {
  EXPECT_EQ(insert("t", Content()), ORV_DB_INVALID_ARGUMENT);
  EXPECT_EQ(affected, 0U);
  EXPECT_EQ(id, 0U);
}

TEST_F(Insert, ThatFailsAnnouncesNothing) {
  sql("INSERT INTO t (a) VALUES (1)");
  EXPECT_EQ(insert("t", Content().with("a", 1)), ORV_DB_ERROR);
  EXPECT_THAT(announced(), IsEmpty());
  EXPECT_EQ(insert("t", Content().with("a", 2)), ORV_DB_OK);
  EXPECT_THAT(announced(), ElementsAre(inserted("t", id)));
}

TEST_F(Insert, ThatFailsInsideATransactionIsNotAnnouncedAtTheCommit) {
  ASSERT_EQ(orv_db_begin_transaction(handle()), ORV_DB_OK);
  EXPECT_EQ(insert("missing", Content().with("a", 1)), ORV_DB_ERROR);
  EXPECT_EQ(insert("t", Content().with("a", 1)), ORV_DB_OK);
  ASSERT_EQ(orv_db_commit_transaction(handle()), ORV_DB_OK);
  EXPECT_THAT(announced(), ElementsAre(committed("t")));
}

TEST_F(Insert, ClearsTheErrorTextWhenItSucceeds) {
  leaveErrorText(handle());
  EXPECT_EQ(insert("t", Content().with("a", 1)), ORV_DB_OK);
  EXPECT_STREQ(errorText(), "");
}

TEST_F(Insert, ClearsTheErrorTextWhenItReturns3) {
  leaveErrorText(handle());
  EXPECT_EQ(insert("t", Content()), ORV_DB_INVALID_ARGUMENT);
  EXPECT_STREQ(errorText(), "");
}

TEST_F(Insert, CutsALongErrorTextTo127Characters) {
  const std::string column(200, 'x');
  EXPECT_EQ(insert("t", Content().with(column.c_str(), 1)), ORV_DB_ERROR);
  EXPECT_EQ(errorText(), ("Unknown column '" + column).substr(0, 127));
}

TEST_F(Insert, OnAConnectionThatWasLostIsRunOnANewOne) {
  killConnections();
  EXPECT_EQ(insert("t", Content().with("a", 1)), ORV_DB_OK) << errorText();
  EXPECT_EQ(rows("SELECT a FROM t"), (std::vector<Row>{{"1"}}));
  EXPECT_THAT(announced(), ElementsAre(inserted("t", 1)));
}

// The client library's call returns no error number, just that it failed.
TEST_F(Insert, ThatLosesItsConnectionWhileItRunsReturns1) {
  std::future<int> inserting =
      std::async(std::launch::async, [&] { return insert("t(a) VALUES (? + SLEEP(100)) #", Content().with("a", 1)); });
  waitForSleep();
  sql("KILL CONNECTION " + std::to_string(connectionIds().at(0)));
  EXPECT_EQ(inserting.get(), ORV_DB_ERROR);
  EXPECT_STREQ(errorText(), "Lost connection to server during query");
  EXPECT_EQ(affected, 0U);
  EXPECT_EQ(id, 0U);
  EXPECT_EQ(insert("t", Content().with("a", 2)), ORV_DB_OK) << errorText();
  EXPECT_THAT(announced(), ElementsAre(inserted("t", id)));
}

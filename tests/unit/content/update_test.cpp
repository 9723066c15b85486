// orv_db_update: statuses, counter, error text, statement text and announcements; the row id has a file of its own.
#include "client_calls.h"
#include "content_test.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

constexpr unsigned long long kUntouched = 77;

class Update : public TableTest {
 public:
  Update() {
    sql("CREATE TABLE t (_id INT PRIMARY KEY, a INT, b VARCHAR(20) UNIQUE)");
    sql("INSERT INTO t VALUES (1, 10, 'one'), (2, 20, 'two'), (3, 30, 'three')");
  }

  int update(const Content &content, const char *where, const std::vector<_orv_db_param_t> &params = {}) {
    return orv_db_update(handle(), "t", content, where, params.data(), static_cast<int>(params.size()), &affected);
  }
  std::vector<Row> table() { return rows("SELECT a, b FROM t ORDER BY _id"); }
  // The text of the update itself, without the look-up that comes first.
  std::string updateText() { return preparedTexts().back(); }

  unsigned long long affected = kUntouched;
};

}  // namespace

TEST_F(Update, ChangesTheMatchingRowsAndGivesTheirNumber) {
  EXPECT_EQ(update(Content().with("a", 5), "a>?", {intParam(10)}), ORV_DB_OK);
  EXPECT_EQ(affected, 2U);
  EXPECT_EQ(table(), (std::vector<Row>{{"10", "one"}, {"5", "two"}, {"5", "three"}}));
}

TEST_F(Update, WithoutWhereChangesEveryRow) {
  EXPECT_EQ(update(Content().with("a", 5), nullptr), ORV_DB_OK);
  EXPECT_EQ(affected, 3U);
  EXPECT_EQ(updateText(), "UPDATE t SET a=?");
  EXPECT_EQ(table(), (std::vector<Row>{{"5", "one"}, {"5", "two"}, {"5", "three"}}));
}

TEST_F(Update, SetsTheColumnsInByteOrderOfTheirNames) {
  EXPECT_EQ(update(Content().with("b", "new").with("a", 5), "_id=?", {intParam(2)}), ORV_DB_OK);
  EXPECT_EQ(updateText(), "UPDATE t SET a=?,b=? WHERE _id=?");
  EXPECT_EQ(table(), (std::vector<Row>{{"10", "one"}, {"5", "new"}, {"30", "three"}}));
}

TEST_F(Update, SeparatesAnEmptyColumnNameFromTheNextOne) {
  EXPECT_EQ(update(Content().with("", 1).with("a", 5), nullptr), ORV_DB_ERROR);
  EXPECT_EQ(updateText(), "UPDATE t SET =?,a=?");
}

TEST_F(Update, BindsTheParametersOfWhereBehindTheValues) {
  EXPECT_EQ(update(Content().with("a", 1).with("b", "new"), "a=? AND b=?", {intParam(20), textParam("two")}),
            ORV_DB_OK);
  EXPECT_EQ(table(), (std::vector<Row>{{"10", "one"}, {"1", "new"}, {"30", "three"}}));
}

TEST_F(Update, TakesParametersOfEveryTypeInWhere) {
  sql("CREATE TABLE every (a TINYINT UNSIGNED, b SMALLINT, c INT UNSIGNED, d BIGINT, e FLOAT, f DOUBLE, g VARCHAR(9),"
      " h BLOB, i INT, hit INT)");
  sql("INSERT INTO every VALUES (255, -2, 4294967295, -4, 0.5, 0.25, 'text', 'a\\0b', NULL, 0), "
      "(255, -2, 4294967295, -4, 0.5, 0.25, 'text', 'a\\0c', NULL, 0)");
  std::vector<_orv_db_param_t> params(9);
  params[0].type = ORV_DB_TYPE_CHAR;
  params[0].is_unsigned = 1;
  params[0].value.c = static_cast<char>(-1);
  params[1].type = ORV_DB_TYPE_SHORT_INT;
  params[1].value.s = -2;
  params[2] = intParam(-1);
  params[2].is_unsigned = 1;
  params[3].type = ORV_DB_TYPE_INT64;
  params[3].value.i64 = -4;
  params[4].type = ORV_DB_TYPE_FLOAT;
  params[4].value.f = 0.5F;
  params[5].type = ORV_DB_TYPE_DOUBLE;
  params[5].value.d = 0.25;
  params[6] = textParam("textual");
  params[6].length = 4;
  params[7].type = ORV_DB_TYPE_BLOB;
  params[7].length = 3;
  params[7].value.data = "a\0b";
  params[8].type = static_cast<_orv_db_type_t>(0);
  EXPECT_EQ(orv_db_update(handle(), "every", Content().with("hit", 1),
                          "a=? AND b=? AND c=? AND d=? AND e=? AND f=? AND g=? AND h=? AND i<=>?", params.data(), 9,
                          &affected),
            ORV_DB_OK)
      << errorText();
  EXPECT_EQ(rows("SELECT hit FROM every ORDER BY h"), (std::vector<Row>{{"1"}, {"0"}}));
}

TEST_F(Update, SetsNull) {
  const Content content;
  orv_db_content_put_null(content, "a");
  orv_db_content_put_null(content, "b");
  EXPECT_EQ(update(content, "_id=1"), ORV_DB_OK);
  EXPECT_EQ(rows("SELECT a, b FROM t WHERE _id=1"), (std::vector<Row>{{std::nullopt, std::nullopt}}));
}

TEST_F(Update, SetsAnEmptyTextInAColumnThatTakesNoNull) {
  sql("ALTER TABLE t MODIFY b VARCHAR(20) NOT NULL");
  EXPECT_EQ(update(Content().with("b", ""), "_id=1"), ORV_DB_OK) << errorText();
  EXPECT_EQ(rows("SELECT b FROM t WHERE _id=1"), (std::vector<Row>{{""}}));
}

TEST_F(Update, FindsRowsByAnEmptyText) {
  sql("UPDATE t SET b='' WHERE _id=2");
  EXPECT_EQ(update(Content().with("a", 5), "b=?", {textParam("")}), ORV_DB_OK);
  EXPECT_EQ(affected, 1U);
  _orv_db_param_t withoutData{};
  withoutData.type = ORV_DB_TYPE_TEXT;
  EXPECT_EQ(update(Content().with("a", 6), "b=?", {withoutData}), ORV_DB_OK);
  EXPECT_EQ(table(), (std::vector<Row>{{"10", "one"}, {"6", ""}, {"30", "three"}}));
}

TEST_F(Update, TakesNamesThatTheCallerHasQuoted) {
  sql("CREATE TABLE `odd name` (_id INT, `group` INT)");
  sql("INSERT INTO `odd name` VALUES (4, 1)");
  EXPECT_EQ(orv_db_update(handle(), "`odd name`", Content().with("`group`", 2), "`group`=1", nullptr, 0, &affected),
            ORV_DB_OK)
      << errorText();
  EXPECT_EQ(rows("SELECT * FROM `odd name`"), (std::vector<Row>{{"4", "2"}}));
  EXPECT_THAT(announced(), ElementsAre(updated("`odd name`", 4)));
}

TEST_F(Update, TakesNullForTheCounter) {
  EXPECT_EQ(orv_db_update(handle(), "t", Content().with("a", 5), "_id=1", nullptr, 0, nullptr), ORV_DB_OK);
  EXPECT_EQ(table()[0], (Row{"5", "one"}));
}

TEST_F(Update, BindsOnlyTheValuesWhenTheNumberOfParametersIsZeroOrLess) {
  const _orv_db_param_t param = intParam(10);
  for (const int count : {0, -1}) {
    const int value = 100 + count;
    EXPECT_EQ(orv_db_update(handle(), "t", Content().with("a", value), "_id=1", &param, count, &affected), ORV_DB_OK)
        << errorText();
    EXPECT_EQ(affected, 1U);
    EXPECT_EQ(table()[0], (Row{std::to_string(value), "one"}));
  }
}

TEST_F(Update, BindsOnlyTheValuesWhenTheParametersAreNull) {
  EXPECT_EQ(orv_db_update(handle(), "t", Content().with("a", 5), "_id=1", nullptr, 3, &affected), ORV_DB_OK);
  EXPECT_EQ(affected, 1U);
  EXPECT_EQ(table()[0], (Row{"5", "one"}));
}

// --- announcements ---

TEST_F(Update, IsAnnouncedAtOnce) {
  EXPECT_EQ(update(Content().with("a", 5), "_id=2"), ORV_DB_OK);
  EXPECT_THAT(announced(), ElementsAre(updated("t", 2)));
}

TEST_F(Update, ThatMatchesNoRowReturns0AndAnnouncesNothing) {
  EXPECT_EQ(update(Content().with("a", 5), "_id=99"), ORV_DB_OK);
  EXPECT_EQ(affected, 0U);
  EXPECT_THAT(announced(), IsEmpty());
  EXPECT_EQ(update(Content().with("a", 5), "_id=1"), ORV_DB_OK);
  EXPECT_THAT(announced(), ElementsAre(updated("t", 1)));
}

TEST_F(Update, ThatChangesNoValueReturns0AndAnnouncesNothing) {
  EXPECT_EQ(update(Content().with("a", 20), "_id=2"), ORV_DB_OK);
  EXPECT_EQ(affected, 0U);
  EXPECT_THAT(announced(), IsEmpty());
  EXPECT_EQ(update(Content().with("a", 21), "_id=2"), ORV_DB_OK);
  EXPECT_THAT(announced(), ElementsAre(updated("t", 2)));
}

TEST_F(Update, ThatMatchesNoRowInsideATransactionIsReportedAllTheSame) {
  ASSERT_EQ(orv_db_begin_transaction(handle()), ORV_DB_OK);
  EXPECT_EQ(update(Content().with("a", 5), "_id=99"), ORV_DB_OK);
  EXPECT_EQ(affected, 0U);
  EXPECT_THAT(announced(), IsEmpty());
  ASSERT_EQ(orv_db_commit_transaction(handle()), ORV_DB_OK);
  EXPECT_THAT(announced(), ElementsAre(committed("t")));
}

TEST_F(Update, InsideATransactionIsAnnouncedAtTheCommitAsAChangeOfTheTable) {
  ASSERT_EQ(orv_db_begin_transaction(handle()), ORV_DB_OK);
  EXPECT_EQ(update(Content().with("a", 5), "_id=1"), ORV_DB_OK);
  EXPECT_THAT(announced(), IsEmpty());
  ASSERT_EQ(orv_db_commit_transaction(handle()), ORV_DB_OK);
  EXPECT_THAT(announced(), ElementsAre(committed("t")));
}

// --- failures ---

TEST_F(Update, Returns3ForANullArgumentAndRunsNothing) {
  const Content content = Content().with("a", 5);
  EXPECT_EQ(orv_db_update(nullptr, "t", content, nullptr, nullptr, 0, nullptr), ORV_DB_INVALID_ARGUMENT);
  EXPECT_EQ(orv_db_update(handle(), nullptr, content, nullptr, nullptr, 0, nullptr), ORV_DB_INVALID_ARGUMENT);
  EXPECT_EQ(orv_db_update(handle(), "t", nullptr, nullptr, nullptr, 0, nullptr), ORV_DB_INVALID_ARGUMENT);
  EXPECT_THAT(preparedTexts(), IsEmpty());
  EXPECT_EQ(update(content, "_id=1"), ORV_DB_OK);
  EXPECT_THAT(announced(), ElementsAre(updated("t", 1)));
}

TEST_F(Update, Returns3ForAnEmptyContainerAndRunsNothing) {
  EXPECT_EQ(update(Content(), nullptr), ORV_DB_INVALID_ARGUMENT);
  EXPECT_EQ(affected, 0U);
  EXPECT_THAT(preparedTexts(), IsEmpty());
}

TEST_F(Update, Returns3WhenTheParametersAreNotAsManyAsThePlaceholders) {
  EXPECT_EQ(update(Content().with("a", 5), "_id=?"), ORV_DB_INVALID_ARGUMENT);
  EXPECT_EQ(update(Content().with("a", 5), "_id=?", {intParam(1), intParam(2)}), ORV_DB_INVALID_ARGUMENT);
  EXPECT_STREQ(errorText(), "");
  EXPECT_EQ(affected, 0U);
  EXPECT_EQ(table()[0], (Row{"10", "one"}));
  EXPECT_THAT(announced(), IsEmpty());
  EXPECT_EQ(update(Content().with("a", 5), "_id=?", {intParam(1)}), ORV_DB_OK);
  EXPECT_THAT(announced(), ElementsAre(updated("t", 1)));
}

TEST_F(Update, Returns1WhenTheStatementCannotBePrepared) {
  EXPECT_EQ(update(Content().with("missing", 5), "_id=1"), ORV_DB_ERROR);
  EXPECT_THAT(errorText(), ::testing::StartsWith("Unknown column 'missing' in"));
}

TEST_F(Update, Returns1WhenTheStatementCannotBeRun) {
  EXPECT_EQ(update(Content().with("b", "two"), "_id=1"), ORV_DB_ERROR);
  EXPECT_STREQ(errorText(), "Duplicate entry 'two' for key 'b'");
}

TEST_F(Update, ThatFailsLeavesTheCounterAtZeroAndAnnouncesNothing) {
  EXPECT_EQ(update(Content().with("b", "two"), "_id=1"), ORV_DB_ERROR);
  EXPECT_EQ(affected, 0U);
  EXPECT_THAT(announced(), IsEmpty());
  EXPECT_EQ(update(Content().with("b", "free"), "_id=1"), ORV_DB_OK);
  EXPECT_THAT(announced(), ElementsAre(updated("t", 1)));
}

TEST_F(Update, ClearsTheErrorTextWhenItSucceeds) {
  leaveErrorText(handle());
  EXPECT_EQ(update(Content().with("a", 5), "_id=1"), ORV_DB_OK);
  EXPECT_STREQ(errorText(), "");
}

TEST_F(Update, ClearsTheErrorTextWhenItReturns3) {
  leaveErrorText(handle());
  EXPECT_EQ(update(Content(), nullptr), ORV_DB_INVALID_ARGUMENT);
  EXPECT_STREQ(errorText(), "");
}

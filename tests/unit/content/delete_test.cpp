// orv_db_delete: statuses, counter, error text, statement text and announcements.
#include "client_calls.h"
#include "content_test.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::StartsWith;

namespace {

constexpr unsigned long long kUntouched = 77;

class Delete : public TableTest {
 public:
  Delete() {
    sql("CREATE TABLE t (_id INT PRIMARY KEY, a INT, b VARCHAR(20))");
    sql("INSERT INTO t VALUES (1, 10, 'one'), (2, 20, 'two'), (3, 30, 'three')");
  }

  int remove(const char *where, const std::vector<_orv_db_param_t> &params = {}) {
    return orv_db_delete(handle(), "t", where, params.data(), static_cast<int>(params.size()), &affected);
  }
  std::vector<Row> ids() { return rows("SELECT _id FROM t ORDER BY _id"); }

  unsigned long long affected = kUntouched;
};

}  // namespace

TEST_F(Delete, RemovesTheMatchingRowsAndGivesTheirNumber) {
  EXPECT_EQ(remove("a>?", {intParam(10)}), ORV_DB_OK);
  EXPECT_EQ(affected, 2U);
  EXPECT_EQ(ids(), (std::vector<Row>{{"1"}}));
}

TEST_F(Delete, WithoutWhereRemovesEveryRow) {
  EXPECT_EQ(remove(nullptr), ORV_DB_OK);
  EXPECT_EQ(affected, 3U);
  EXPECT_THAT(ids(), IsEmpty());
  EXPECT_THAT(preparedTexts(), ElementsAre("DELETE FROM t"));
}

TEST_F(Delete, RunsTheWhereTextAsItStands) {
  EXPECT_EQ(remove("a=? OR b=?", {intParam(10), textParam("three")}), ORV_DB_OK);
  EXPECT_THAT(preparedTexts(), ElementsAre("DELETE FROM t WHERE a=? OR b=?"));
  EXPECT_EQ(ids(), (std::vector<Row>{{"2"}}));
}

TEST_F(Delete, TakesWhereWithoutParameters) {
  EXPECT_EQ(remove("b='two'"), ORV_DB_OK);
  EXPECT_EQ(affected, 1U);
  EXPECT_EQ(ids(), (std::vector<Row>{{"1"}, {"3"}}));
}

TEST_F(Delete, TakesNullForTheCounter) {
  EXPECT_EQ(orv_db_delete(handle(), "t", "_id=1", nullptr, 0, nullptr), ORV_DB_OK);
  EXPECT_EQ(ids(), (std::vector<Row>{{"2"}, {"3"}}));
}

TEST_F(Delete, TakesATableNameThatTheCallerHasQuoted) {
  sql("CREATE TABLE `odd name` (a INT)");
  sql("INSERT INTO `odd name` VALUES (1)");
  EXPECT_EQ(orv_db_delete(handle(), "`odd name`", "`a`=1", nullptr, 0, &affected), ORV_DB_OK) << errorText();
  EXPECT_EQ(affected, 1U);
  EXPECT_THAT(announced(), ElementsAre(deleted("`odd name`")));
}

// --- announcements ---

TEST_F(Delete, AnnouncesAnUnknownRow) {
  EXPECT_EQ(remove("_id=1"), ORV_DB_OK);
  EXPECT_THAT(announced(), ElementsAre(deleted("t")));
}

TEST_F(Delete, ThatRemovesNoRowReturns0AndIsAnnouncedAllTheSame) {
  EXPECT_EQ(remove("_id=99"), ORV_DB_OK);
  EXPECT_EQ(affected, 0U);
  EXPECT_THAT(announced(), ElementsAre(deleted("t")));
}

TEST_F(Delete, InsideATransactionIsAnnouncedAtTheCommitAsAChangeOfTheTable) {
  ASSERT_EQ(orv_db_begin_transaction(handle()), ORV_DB_OK);
  EXPECT_EQ(remove("_id=99"), ORV_DB_OK);
  EXPECT_THAT(announced(), IsEmpty());
  ASSERT_EQ(orv_db_commit_transaction(handle()), ORV_DB_OK);
  EXPECT_THAT(announced(), ElementsAre(committed("t")));
}

// --- failures ---

TEST_F(Delete, Returns3ForANullArgumentAndRunsNothing) {
  EXPECT_EQ(orv_db_delete(nullptr, "t", nullptr, nullptr, 0, &affected), ORV_DB_INVALID_ARGUMENT);
  EXPECT_EQ(affected, 0U);
  affected = kUntouched;
  EXPECT_EQ(orv_db_delete(handle(), nullptr, nullptr, nullptr, 0, &affected), ORV_DB_INVALID_ARGUMENT);
  EXPECT_EQ(affected, 0U);
  EXPECT_THAT(preparedTexts(), IsEmpty());
  EXPECT_THAT(announced(), IsEmpty());
  EXPECT_EQ(remove("_id=1"), ORV_DB_OK);
  EXPECT_THAT(announced(), ElementsAre(deleted("t")));
}

TEST_F(Delete, Returns3WhenTheParametersAreNotAsManyAsThePlaceholders) {
  EXPECT_EQ(remove("a=?"), ORV_DB_INVALID_ARGUMENT);
  EXPECT_EQ(remove("a=?", {intParam(10), intParam(20)}), ORV_DB_INVALID_ARGUMENT);
  EXPECT_STREQ(errorText(), "");
  EXPECT_EQ(affected, 0U);
  EXPECT_EQ(ids().size(), 3U);
  EXPECT_THAT(announced(), IsEmpty());
  EXPECT_EQ(remove("a=?", {intParam(10)}), ORV_DB_OK);
  EXPECT_THAT(announced(), ElementsAre(deleted("t")));
}

TEST_F(Delete, Returns3ForANegativeNumberOfParameters) {
  const _orv_db_param_t param = intParam(10);
  EXPECT_EQ(orv_db_delete(handle(), "t", "a=10", &param, -1, &affected), ORV_DB_INVALID_ARGUMENT);
  EXPECT_EQ(ids().size(), 3U);
}

TEST_F(Delete, Returns1ForPlaceholdersWhoseParametersAreNull) {
  EXPECT_EQ(orv_db_delete(handle(), "t", "a=?", nullptr, 1, &affected), ORV_DB_ERROR);
  EXPECT_STRNE(errorText(), "");
  EXPECT_EQ(ids().size(), 3U);
  EXPECT_THAT(announced(), IsEmpty());
  EXPECT_EQ(remove("a=?", {intParam(10)}), ORV_DB_OK);
  EXPECT_THAT(announced(), ElementsAre(deleted("t")));
}

TEST_F(Delete, Returns1WhenTheStatementCannotBePrepared) {
  EXPECT_EQ(remove("missing=1"), ORV_DB_ERROR);
  EXPECT_THAT(errorText(), StartsWith("Unknown column 'missing' in"));
}

TEST_F(Delete, Returns1WhenTheStatementCannotBeRun) {
  sql("CREATE TABLE child (parent INT REFERENCES t(_id))");
  sql("INSERT INTO child VALUES (2)");
  EXPECT_EQ(remove("_id=2"), ORV_DB_ERROR);
  EXPECT_THAT(errorText(), StartsWith("Cannot delete or update a parent row"));
}

TEST_F(Delete, ThatFailsLeavesTheCounterAtZeroAndAnnouncesNothing) {
  EXPECT_EQ(remove("missing=1"), ORV_DB_ERROR);
  EXPECT_EQ(affected, 0U);
  EXPECT_THAT(announced(), IsEmpty());
  EXPECT_EQ(remove("_id=1"), ORV_DB_OK);
  EXPECT_THAT(announced(), ElementsAre(deleted("t")));
}

TEST_F(Delete, ClearsTheErrorTextWhenItSucceeds) {
  leaveErrorText(handle());
  EXPECT_EQ(remove("_id=1"), ORV_DB_OK);
  EXPECT_STREQ(errorText(), "");
}

TEST_F(Delete, ClearsTheErrorTextWhenItReturns3) {
  leaveErrorText(handle());
  EXPECT_EQ(orv_db_delete(handle(), nullptr, nullptr, nullptr, 0, nullptr), ORV_DB_INVALID_ARGUMENT);
  EXPECT_STREQ(errorText(), "");
}

TEST_F(Delete, TakesParametersOfEveryType) {
  sql("CREATE TABLE every (a TINYINT, b SMALLINT UNSIGNED, c INT, d BIGINT UNSIGNED, e FLOAT, f DOUBLE, g VARCHAR(9),"
      " h BLOB, i INT)");
  sql("INSERT INTO every VALUES (-1, 65535, -3, 18446744073709551615, 0.5, 0.25, 'text', 'a\\0b', NULL), "
      "(-1, 65535, -3, 18446744073709551615, 0.5, 0.25, 'text', 'a\\0c', NULL)");
  std::vector<_orv_db_param_t> params(9);
  params[0].type = ORV_DB_TYPE_CHAR;
  params[0].value.c = static_cast<char>(-1);
  params[1].type = ORV_DB_TYPE_SHORT_INT;
  params[1].is_unsigned = 1;
  params[1].value.s = -1;
  params[2] = intParam(-3);
  params[3].type = ORV_DB_TYPE_INT64;
  params[3].is_unsigned = 1;
  params[3].value.i64 = -1;
  params[4].type = ORV_DB_TYPE_FLOAT;
  params[4].value.f = 0.5F;
  params[5].type = ORV_DB_TYPE_DOUBLE;
  params[5].value.d = 0.25;
  params[6] = textParam("textual");
  params[6].length = 4;
  params[7].type = ORV_DB_TYPE_BLOB;
  params[7].length = 3;
  params[7].value.data = "a\0b";
  params[8].type = ORV_DB_TYPE_UNKNOWN;
  EXPECT_EQ(orv_db_delete(handle(), "every", "a=? AND b=? AND c=? AND d=? AND e=? AND f=? AND g=? AND h=? AND i<=>?",
                          params.data(), 9, &affected),
            ORV_DB_OK)
      << errorText();
  EXPECT_EQ(affected, 1U);
  EXPECT_EQ(rows("SELECT h FROM every"), (std::vector<Row>{{std::string("a\0c", 3)}}));
}

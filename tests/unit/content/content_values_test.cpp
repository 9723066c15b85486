// The container of content values.
#include "content/content_values.h"

#include <cstring>
#include <functional>
#include <sstream>

#include "content_test.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

// "column=literal" of each entry, in the container's order.
std::vector<std::string> entries(const Content &content) {
  std::vector<std::string> texts;
  for (const auto &[column, value] : static_cast<_orv_db_content_values_t *>(content)->values) {
    std::ostringstream out;
    out << column << '=' << value;
    texts.push_back(out.str());
  }
  return texts;
}

struct PutFunction {
  const char *name;
  std::function<int(_orv_db_content_values_t *, const char *)> put;
};

// Each put function with a value that is fine.
const std::vector<PutFunction> kPutFunctions = {
    {"null", orv_db_content_put_null},
    {"char", [](auto *content, auto *column) { return orv_db_content_put_char(content, column, 'x'); }},
    {"uchar", [](auto *content, auto *column) { return orv_db_content_put_uchar(content, column, 'x'); }},
    {"short_int", [](auto *content, auto *column) { return orv_db_content_put_short_int(content, column, 1); }},
    {"short_uint", [](auto *content, auto *column) { return orv_db_content_put_short_uint(content, column, 1); }},
    {"int", [](auto *content, auto *column) { return orv_db_content_put_int(content, column, 1); }},
    {"uint", [](auto *content, auto *column) { return orv_db_content_put_uint(content, column, 1); }},
    {"int64", [](auto *content, auto *column) { return orv_db_content_put_int64(content, column, 1); }},
    {"uint64", [](auto *content, auto *column) { return orv_db_content_put_uint64(content, column, 1); }},
    {"float", [](auto *content, auto *column) { return orv_db_content_put_float(content, column, 1); }},
    {"double", [](auto *content, auto *column) { return orv_db_content_put_double(content, column, 1); }},
    {"text", [](auto *content, auto *column) { return orv_db_content_put_text(content, column, "x"); }},
    {"blob", [](auto *content, auto *column) { return orv_db_content_put_blob(content, column, "x", 1); }},
};

}  // namespace

TEST(ContentValues, AreEmptyAtFirst) {
  Content content;
  ASSERT_NE(content, nullptr);
  EXPECT_THAT(entries(content), IsEmpty());
}

TEST(ContentValues, AreIndependentOfOtherContainers) {
  Content one;
  Content other;
  one.with("a", 1);
  EXPECT_THAT(entries(one), ElementsAre("a=1"));
  EXPECT_THAT(entries(other), IsEmpty());
}

TEST(ContentValues, ComeInByteOrderOfTheirNamesWhateverTheOrderOfThePuts) {
  EXPECT_THAT(entries(Content().with("b", 1).with("A", 2).with("a", 3)), ElementsAre("A=2", "a=3", "b=1"));
  EXPECT_THAT(entries(Content().with("a", 3).with("b", 1).with("A", 2)), ElementsAre("A=2", "a=3", "b=1"));
}

TEST(ContentValues, ComeWithTheShorterNameFirstWhereOneBeginsWithTheOther) {
  EXPECT_THAT(entries(Content().with("ab", 1).with("a_", 2).with("a", 3).with("abc", 4)),
              ElementsAre("a=3", "a_=2", "ab=1", "abc=4"));
}

TEST(ContentValues, CompareTheBytesOfNamesUnsigned) {
  EXPECT_THAT(entries(Content().with("\xC3\xBC", 1).with("z", 2).with("\x01", 3)),
              ElementsAre("\x01=3", "z=2", "\xC3\xBC=1"));
}

TEST(ContentValues, KeepNamesThatDifferInCaseApart) {
  EXPECT_THAT(entries(Content().with("Name", 1).with("name", 2)), ElementsAre("Name=1", "name=2"));
}

TEST(ContentValues, TakeTheEmptyNameAsAName) {
  EXPECT_THAT(entries(Content().with("a", 1).with("", 2)), ElementsAre("=2", "a=1"));
}

TEST(ContentValues, CopyTheName) {
  Content content;
  char name[] = "before";
  ASSERT_EQ(orv_db_content_put_int(content, name, 1), ORV_DB_OK);
  std::strcpy(name, "after");
  EXPECT_THAT(entries(content), ElementsAre("before=1"));
}

TEST(ContentValues, AreCleared) {
  Content content = Content().with("a", 1).with("b", "text");
  orv_db_content_clear(content);
  EXPECT_THAT(entries(content), IsEmpty());
}

TEST(ContentValues, CanBeFilledAgainAfterClear) {
  Content content = Content().with("a", 1);
  orv_db_content_clear(content);
  content.with("b", 2);
  EXPECT_THAT(entries(content), ElementsAre("b=2"));
}

TEST(ContentValues, CanBeClearedWhenEmpty) {
  Content content;
  orv_db_content_clear(content);
  orv_db_content_clear(content);
  content.with("a", 1);
  EXPECT_THAT(entries(content), ElementsAre("a=1"));
}

TEST(ContentValues, ThatAreNullAreIgnoredByClearAndFree) {
  orv_db_content_clear(nullptr);
  orv_db_free_content_values(nullptr);
  EXPECT_THAT(entries(Content().with("a", 1)), ElementsAre("a=1"));
}

// --- put ---

TEST(Put, Returns0AndStoresOneEntry) {
  for (const PutFunction &function : kPutFunctions) {
    Content content;
    EXPECT_EQ(function.put(content, "c"), ORV_DB_OK) << function.name;
    EXPECT_EQ(entries(content).size(), 1U) << function.name;
  }
}

TEST(Put, Returns3ForANullContainer) {
  for (const PutFunction &function : kPutFunctions) {
    EXPECT_EQ(function.put(nullptr, "c"), ORV_DB_INVALID_ARGUMENT) << function.name;
  }
}

TEST(Put, Returns3ForANullNameAndChangesNothing) {
  for (const PutFunction &function : kPutFunctions) {
    const Content content = Content().with("", 1).with("c", 2);
    EXPECT_EQ(function.put(content, nullptr), ORV_DB_INVALID_ARGUMENT) << function.name;
    EXPECT_THAT(entries(content), ElementsAre("=1", "c=2")) << function.name;
  }
}

TEST(Put, ReplacesTheValueOfTheSameName) {
  EXPECT_THAT(entries(Content().with("c", 1).with("d", 3).with("c", 2)), ElementsAre("c=2", "d=3"));
}

TEST(Put, ReplacesTheTypeTogetherWithTheValue) {
  const Content content = Content().with("id", 1).with("id", "text");
  EXPECT_THAT(entries(content), ElementsAre("id='text'"));
  for (const PutFunction &function : kPutFunctions) {
    Content fresh;
    function.put(fresh, "c");
    const Content replaced = Content().with("c", "a text of some length");
    function.put(replaced, "c");
    EXPECT_EQ(entries(replaced), entries(fresh)) << function.name;
  }
}

TEST(Put, ReplacesTheSign) {
  Content content;
  orv_db_content_put_uint(content, "c", 1);
  orv_db_content_put_int(content, "c", 1);
  EXPECT_EQ(static_cast<_orv_db_content_values_t *>(content)->values.at("c").toParam().is_unsigned, 0);
}

TEST(PutText, OfANullTextReturns0AndKeepsTheOldValue) {
  const Content content = Content().with("c", "old");
  EXPECT_EQ(orv_db_content_put_text(content, "c", nullptr), ORV_DB_OK);
  EXPECT_THAT(entries(content), ElementsAre("c='old'"));
}

TEST(PutText, OfANullTextMakesNoEntry) {
  Content content;
  EXPECT_EQ(orv_db_content_put_text(content, "c", nullptr), ORV_DB_OK);
  EXPECT_THAT(entries(content), IsEmpty());
}

TEST(PutText, OfANullTextStillNeedsAContainerAndAName) {
  Content content;
  EXPECT_EQ(orv_db_content_put_text(nullptr, "c", nullptr), ORV_DB_INVALID_ARGUMENT);
  EXPECT_EQ(orv_db_content_put_text(content, nullptr, nullptr), ORV_DB_INVALID_ARGUMENT);
}

TEST(PutText, OfAnEmptyTextStoresAnEmptyText) {
  EXPECT_THAT(entries(Content().with("c", 1).with("c", "")), ElementsAre("c=''"));
}

TEST(PutText, CopiesTheText) {
  Content content;
  char text[] = "before";
  ASSERT_EQ(orv_db_content_put_text(content, "c", text), ORV_DB_OK);
  std::strcpy(text, "after");
  EXPECT_THAT(entries(content), ElementsAre("c='before'"));
}

TEST(PutBlob, OfNullDataReturns0AndKeepsTheOldValue) {
  const Content content = Content().with("c", "old");
  EXPECT_EQ(orv_db_content_put_blob(content, "c", nullptr, 3), ORV_DB_OK);
  EXPECT_EQ(orv_db_content_put_blob(content, "c", nullptr, 0), ORV_DB_OK);
  EXPECT_THAT(entries(content), ElementsAre("c='old'"));
}

TEST(PutBlob, OfNullDataMakesNoEntry) {
  Content content;
  EXPECT_EQ(orv_db_content_put_blob(content, "c", nullptr, 3), ORV_DB_OK);
  EXPECT_THAT(entries(content), IsEmpty());
}

TEST(PutBlob, OfNullDataStillNeedsAContainerAndAName) {
  Content content;
  EXPECT_EQ(orv_db_content_put_blob(nullptr, "c", nullptr, 3), ORV_DB_INVALID_ARGUMENT);
  EXPECT_EQ(orv_db_content_put_blob(content, nullptr, nullptr, 3), ORV_DB_INVALID_ARGUMENT);
}

TEST(PutBlob, OfLengthZeroStoresAnEmptyBlob) {
  Content content = Content().with("c", "old");
  EXPECT_EQ(orv_db_content_put_blob(content, "c", "ignored", 0), ORV_DB_OK);
  EXPECT_THAT(entries(content), ElementsAre("c="));
  EXPECT_EQ(static_cast<_orv_db_content_values_t *>(content)->values.at("c").toParam().type, ORV_DB_TYPE_BLOB);
}

TEST(PutBlob, CopiesTheBytes) {
  Content content;
  char bytes[] = {'a', '\0', 'b', 'c'};
  ASSERT_EQ(orv_db_content_put_blob(content, "c", bytes, 3), ORV_DB_OK);
  bytes[0] = 'x';
  EXPECT_THAT(entries(content), ElementsAre(std::string("c=a\0b", 5)));
}

// How parameters are handed to the client library.
#include "fault/fault_test.h"

namespace {

using ::testing::ElementsAre;

_orv_db_param_t paramOf(_orv_db_type_t type) {
  _orv_db_param_t param{};
  param.type = type;
  return param;
}

class Binding : public HandleTest {
 protected:
  // Runs a statement with these parameters. Returns how they were bound.
  const std::vector<Bound> &bind(const std::vector<_orv_db_param_t> &params) {
    std::string where = "a=?";
    for (std::size_t i = 1; i < params.size(); ++i)
      where += " AND a=?";
    client().boundParams.clear();
    EXPECT_EQ(orv_db_delete(handle(), "t", where.c_str(), params.data(), static_cast<int>(params.size()), nullptr), 0);
    EXPECT_EQ(client().boundParams.size(), params.size());
    return client().boundParams;
  }

  // The value is bound in place, with this type and size and no length.
  static void expectBoundInPlace(const Bound &bound, const _orv_db_param_t &param, enum_field_types type,
                                 unsigned long size) {
    EXPECT_EQ(bound.bind.buffer_type, type);
    EXPECT_EQ(bound.bind.buffer, &param.value);
    EXPECT_EQ(bound.bind.buffer_length, size);
    EXPECT_EQ(bound.bind.length, nullptr);
  }
};

}  // namespace

TEST_F(Binding, NumbersAreBoundInPlace) {
  std::vector<_orv_db_param_t> params;
  for (int type = ORV_DB_TYPE_CHAR; type <= ORV_DB_TYPE_DOUBLE; ++type) {
    params.push_back(paramOf(static_cast<_orv_db_type_t>(type)));
  }
  const std::vector<Bound> &bound = bind(params);
  ASSERT_EQ(bound.size(), 6U);
  expectBoundInPlace(bound[0], params[0], MYSQL_TYPE_TINY, 1);
  expectBoundInPlace(bound[1], params[1], MYSQL_TYPE_SHORT, 2);
  expectBoundInPlace(bound[2], params[2], MYSQL_TYPE_LONG, 4);
  expectBoundInPlace(bound[3], params[3], MYSQL_TYPE_LONGLONG, 8);
  expectBoundInPlace(bound[4], params[4], MYSQL_TYPE_FLOAT, 4);
  expectBoundInPlace(bound[5], params[5], MYSQL_TYPE_DOUBLE, 8);
}

TEST_F(Binding, TextAndBlobAreBoundByTheirPointerWithTheAddressOfTheirLength) {
  std::vector<_orv_db_param_t> params = {paramOf(ORV_DB_TYPE_TEXT), paramOf(ORV_DB_TYPE_BLOB)};
  const char bytes[] = "abcdef";
  for (_orv_db_param_t &param : params) {
    param.value.data = bytes;
    param.length = 3;
  }
  const std::vector<Bound> &bound = bind(params);
  ASSERT_EQ(bound.size(), 2U);
  EXPECT_EQ(bound[0].bind.buffer_type, MYSQL_TYPE_STRING);
  EXPECT_EQ(bound[1].bind.buffer_type, MYSQL_TYPE_BLOB);
  for (std::size_t i = 0; i < 2; ++i) {
    EXPECT_EQ(bound[i].bind.buffer, bytes);
    EXPECT_EQ(bound[i].bind.buffer_length, 3U);
    EXPECT_EQ(bound[i].bind.length, &params[i].length);
    EXPECT_EQ(bound[i].bytes, "abc");
  }
}

TEST_F(Binding, EveryOtherTypeIsNull) {
  std::vector<_orv_db_param_t> params;
  for (const int type : {0, 9, 10, 255, 0x7fffffff}) {
    params.push_back(paramOf(static_cast<_orv_db_type_t>(type)));
    params.back().is_unsigned = 1;
    params.back().length = 5;
    params.back().value.i64 = -1;
  }
  for (const Bound &bound : bind(params)) {
    EXPECT_EQ(bound.bind.buffer_type, MYSQL_TYPE_NULL);
    EXPECT_EQ(bound.bind.buffer, nullptr);
    EXPECT_EQ(bound.bind.buffer_length, 0U);
    EXPECT_EQ(bound.bind.length, nullptr);
    EXPECT_EQ(bound.bind.is_unsigned, 0);
  }
}

TEST_F(Binding, UnsignedFlagIsPassedOnForEveryTypeThatIsNotNull) {
  const char byte = 'x';
  for (const bool flag : {false, true}) {
    std::vector<_orv_db_param_t> params;
    for (int type = ORV_DB_TYPE_CHAR; type <= ORV_DB_TYPE_BLOB; ++type) {
      params.push_back(paramOf(static_cast<_orv_db_type_t>(type)));
      params.back().is_unsigned = flag;
      if (type >= ORV_DB_TYPE_TEXT) params.back().value.data = &byte;
    }
    for (const Bound &bound : bind(params)) {
      EXPECT_EQ(bound.bind.is_unsigned, flag) << "type " << bound.bind.buffer_type;
    }
  }
}

TEST_F(Binding, AllParametersShareOneNullIndicatorThatIsNeverSet) {
  std::vector<_orv_db_param_t> params;
  for (int type = 0; type <= 9; ++type)
    params.push_back(paramOf(static_cast<_orv_db_type_t>(type)));
  const std::vector<Bound> &bound = bind(params);
  ASSERT_EQ(bound.size(), 10U);
  my_bool *const shared = bound[0].bind.is_null;
  ASSERT_NE(shared, nullptr);
  for (const Bound &each : bound)
    EXPECT_EQ(each.bind.is_null, shared);
  EXPECT_EQ(*shared, 0);
}

TEST_F(Binding, TextOrBlobWithoutAPointerIsEmptyAndNotNull) {
  std::vector<_orv_db_param_t> params = {paramOf(ORV_DB_TYPE_TEXT), paramOf(ORV_DB_TYPE_BLOB)};
  for (const unsigned long length : {0UL, 5UL}) {
    for (_orv_db_param_t &param : params)
      param.length = length;
    for (const Bound &bound : bind(params)) {
      ASSERT_NE(bound.bind.buffer, nullptr);
      EXPECT_EQ(*static_cast<const char *>(bound.bind.buffer), '\0');
      EXPECT_EQ(bound.bind.buffer_length, 0U);
      ASSERT_NE(bound.bind.length, nullptr);
      EXPECT_EQ(*bound.bind.length, 0U);
      EXPECT_NE(bound.bind.buffer_type, MYSQL_TYPE_NULL);
    }
  }
}

TEST_F(Binding, EmptyContentValuesAreEmptyAndNotNull) {
  const ContentValues content(orv_db_get_content_values());
  ASSERT_EQ(orv_db_content_put_text(content.get(), "t", ""), 0);
  ASSERT_EQ(orv_db_content_put_blob(content.get(), "b", "", 0), 0);
  ASSERT_EQ(orv_db_insert(handle(), "t", content.get(), nullptr, nullptr), 0);
  ASSERT_EQ(client().boundParams.size(), 2U);
  EXPECT_EQ(client().boundParams[0].bind.buffer_type, MYSQL_TYPE_BLOB);
  EXPECT_EQ(client().boundParams[1].bind.buffer_type, MYSQL_TYPE_STRING);
  for (const Bound &bound : client().boundParams) {
    EXPECT_NE(bound.bind.buffer, nullptr);
    EXPECT_EQ(bound.bind.buffer_length, 0U);
    EXPECT_EQ(*bound.bind.length, 0U);
  }
}

TEST_F(Binding, StatementWithoutParametersIsExecutedUnbound) {
  const _orv_db_param_t unused = paramOf(ORV_DB_TYPE_INT);
  EXPECT_EQ(orv_db_delete(handle(), "t", nullptr, &unused, 0, nullptr), 0);
  EXPECT_EQ(client().count("mysql_stmt_bind_param"), 0U);
  EXPECT_THAT(client().executed, ElementsAre("DELETE FROM t"));
}

TEST_F(Binding, StatementWhoseParametersAreMissingIsExecutedUnbound) {
  EXPECT_EQ(orv_db_delete(handle(), "t", "a=? AND b=?", nullptr, 2, nullptr), 0);
  EXPECT_EQ(client().count("mysql_stmt_bind_param"), 0U);
  EXPECT_THAT(client().executed, ElementsAre("DELETE FROM t WHERE a=? AND b=?"));
}

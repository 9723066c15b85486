// What the tests of queries and results share.
#pragma once

#include <gtest/gtest.h>
#include <orvdb_client.h>

#include <ostream>
#include <string>
#include <vector>

#include "core/handle.h"
#include "query/result_set.h"
#include "support/handle.h"
#include "support/params.h"

struct Select {
  const char *table;
  std::vector<const char *> columns = {};
  const char *where = nullptr;
  std::vector<_orv_db_param_t> params = {};
  const char *orderBy = nullptr;
};

struct QueryAnswer {
  unsigned int status;
  Result rows;
};

QueryAnswer runRaw(_orv_db_handle_t *handle, const std::string &sql);
QueryAnswer runSelect(_orv_db_handle_t *handle, const Select &select);

// Has a handle for the test's database.
class QueryTest : public DatabaseTest {
 protected:
  QueryTest();

  _orv_db_handle_t *handle() const { return handle_.get(); }
  void closeHandle() { handle_.reset(); }
  QueryAnswer raw(const std::string &sql) const { return runRaw(handle(), sql); }
  QueryAnswer query(const Select &select) const { return runSelect(handle(), select); }
  // The first field of the first row.
  std::string value(const std::string &sql) const;
  // How often the server has received this command on the handle's connection: "Com_stmt_close".
  int sessionCount(const std::string &command) const;

 private:
  Handle handle_;
};

// The two ways to a result: orv_db_raw_query() and orv_db_query().
enum class Kind { raw, statement };
std::string nameOf(Kind kind);
void PrintTo(Kind kind, std::ostream *out);

// SELECT columns FROM from, one way or the other; `from` may go on behind the table.
Result selectAs(Kind kind, _orv_db_handle_t *handle, const char *columns, const char *from);

class BothKindsTest : public QueryTest, public testing::WithParamInterface<Kind> {
 protected:
  Result select(const char *columns, const char *from) const { return selectAs(GetParam(), handle(), columns, from); }
  // The only row, made current.
  Result onlyRow(const char *columns, const char *from) const;
};

#define INSTANTIATE_FOR_BOTH_KINDS(suite)                                                \
  INSTANTIATE_TEST_SUITE_P(ResultOf, suite, testing::Values(Kind::raw, Kind::statement), \
                           [](const auto &tested) { return nameOf(tested.param); })

std::string textOf(ResultSetInfo *result, unsigned int column = 0);
std::string bytesOf(ResultSetInfo *result, unsigned int column = 0);
int intOf(ResultSetInfo *result, unsigned int column = 0);

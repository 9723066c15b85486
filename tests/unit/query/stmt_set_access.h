// A look inside the result sets of prepared statements.
#pragma once

#include <algorithm>
#include <stdexcept>
#include <string>

#include "query/statement.h"
#include "query/stmt_set.h"
#include "unit/query/query_fixture.h"

struct stmt_set_test_access {
  static constexpr unsigned int kInlineColumns = StmtSetInfo::kInlineColumns;

  static const void *scratch(StmtSetInfo &set) { return set.m_scratch.bytes; }
  static MYSQL_BIND *binds(StmtSetInfo &set) { return set.m_binds.data(); }

  static bool usesInlineStorage(StmtSetInfo &set) {
    const bool inside[] = {isInside(set, set.m_binds.data()), isInside(set, set.m_isNull.data()),
                           isInside(set, set.m_lengths.data())};
    if (inside[0] != inside[1] || inside[1] != inside[2]) throw std::logic_error("some arrays are inside, some not");
    return inside[0];
  }

  // The three inline arrays are all zero.
  static bool isZeroed(StmtSetInfo &set) {
    return isZero(set.m_binds.data(), sizeof(MYSQL_BIND)) && isZero(set.m_isNull.data(), sizeof(my_bool)) &&
           isZero(set.m_lengths.data(), sizeof(unsigned long));
  }

 private:
  static bool isInside(const StmtSetInfo &set, const void *address) {
    const auto *begin = reinterpret_cast<const char *>(&set);
    return address >= begin && address < begin + sizeof set;
  }
  static bool isZero(const void *array, std::size_t elementSize) {
    const auto *bytes = static_cast<const unsigned char *>(array);
    return std::all_of(bytes, bytes + kInlineColumns * elementSize, [](unsigned char byte) { return byte == 0; });
  }
};

class ExecutedStatementTest : public QueryTest {
 protected:
  // To be closed, or given to a set.
  MYSQL_STMT *execute(const std::string &sql) {
    MYSQL_STMT *stmt = nullptr;
    if (run_statement(handle(), sql.c_str(), nullptr, 0, &stmt) != 0) throw std::runtime_error(orv_db_get_error_str());
    return stmt;
  }
};

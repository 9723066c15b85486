#include <orvdb_client.h>

#include <stdexcept>

#include "support/owners.h"
#include "wide_table.h"

namespace {

void require(bool holds) {
  if (!holds) throw std::runtime_error(std::string("the library: ") + orv_db_get_error_str());
}

class LibraryTable : public WideTable {
 public:
  LibraryTable(const DatabaseServer &server, const std::string &db, const WideColumns &columns)
      : m_handle(
            orv_db_open(server.host.c_str(), server.user.c_str(), server.password.c_str(), db.c_str(), server.port)),
        m_table(columns.table),
        m_workTable(columns.table + "_work") {
    require(m_handle != nullptr);
    for (const std::string &name : columns.names)
      m_names.push_back(name.c_str());
  }

  void insert() override {
    const ContentValues content(orv_db_get_content_values());
    int number = 0;
    for (const char *name : m_names)
      orv_db_content_put_int(content.get(), name, ++number);
    require(orv_db_insert(m_handle.get(), m_workTable.c_str(), content.get(), nullptr, nullptr) == ORV_DB_OK);
  }

  long long sum() override {
    ResultSetInfo *rows = nullptr;
    require(orv_db_query(m_handle.get(), m_table.c_str(), m_names.data(), static_cast<unsigned int>(m_names.size()),
                         nullptr, nullptr, 0, nullptr, &rows) == ORV_DB_OK);
    const Result result(rows);
    long long sum = 0;
    while (orv_db_result_step(rows) == ORV_DB_ROW) {
      for (unsigned int i = 0; i < m_names.size(); ++i) {
        int number = 0;
        orv_db_result_column_int(rows, i, &number);
        sum += number;
      }
    }
    return sum;
  }

 private:
  Handle m_handle;
  std::string m_table;
  std::string m_workTable;
  std::vector<const char *> m_names;
};

}  // namespace

WideColumns::WideColumns(std::size_t count) : table("wide" + std::to_string(count)) {
  for (std::size_t i = 0; i < count; ++i)
    names.push_back("column" + std::to_string(i));
}

std::unique_ptr<WideTable> openWideWithLibrary(const DatabaseServer &server, const std::string &db,
                                               const WideColumns &columns) {
  return std::make_unique<LibraryTable>(server, db, columns);
}

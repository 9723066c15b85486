#include "items/reference.h"
#include "wide_table.h"

namespace {

using reference::bindOf;
using reference::connect;
using reference::Connection;
using reference::execute;
using reference::prepare;
using reference::require;
using reference::Statement;
using reference::StoredResult;

constexpr int kInserted = 1;

class PlainTable : public WideTable {
 public:
  PlainTable(const DatabaseServer &server, std::string db, WideColumns columns, const RecordSocket &listener)
      : m_connection(connect(server, db)), m_db(std::move(db)), m_columns(std::move(columns)), m_listener(listener) {}

  void insert() override {
    const std::size_t count = m_columns.names.size();
    std::string sql = "INSERT INTO " + m_columns.table + "_work(" + list() + ") VALUES (?";
    std::vector<int> numbers(count);
    std::vector<MYSQL_BIND> binds(count);
    for (std::size_t i = 0; i < count; ++i) {
      if (i != 0) sql += ",?";
      numbers[i] = static_cast<int>(i) + 1;
      binds[i] = bindOf(numbers[i]);
    }
    const Statement statement = prepare(m_connection.get(), sql + ")");
    execute(statement.get(), binds.data());
    require(mysql_stmt_affected_rows(statement.get()) == 1, m_connection.get());
    m_listener.announce(m_db, m_columns.table + "_work", kInserted, mysql_stmt_insert_id(statement.get()));
  }

  // Each column is bound to a place that nobody reads, and then fetched with its type.
  long long sum() override {
    const Statement statement = prepare(m_connection.get(), "SELECT " + list() + " FROM " + m_columns.table);
    execute(statement.get(), nullptr);
    const StoredResult fields(mysql_stmt_result_metadata(statement.get()));
    require(fields != nullptr, m_connection.get());
    const std::size_t count = m_columns.names.size();
    std::vector<MYSQL_BIND> binds(count);
    std::vector<my_bool> isNull(count);
    std::vector<unsigned long> lengths(count);
    for (std::size_t i = 0; i < count; ++i) {
      binds[i] = {};
      binds[i].buffer_type = mysql_fetch_fields(fields.get())[i].type;
      binds[i].buffer = m_scratch;
      binds[i].buffer_length = sizeof m_scratch;
      binds[i].is_null = &isNull[i];
      binds[i].length = &lengths[i];
    }
    require(mysql_stmt_bind_result(statement.get(), binds.data()) == 0 && mysql_stmt_store_result(statement.get()) == 0,
            m_connection.get());
    return sumOf(statement.get(), isNull);
  }

 private:
  static long long sumOf(MYSQL_STMT *statement, const std::vector<my_bool> &isNull) {
    long long sum = 0;
    for (int fetched; (fetched = mysql_stmt_fetch(statement)) == 0 || fetched == MYSQL_DATA_TRUNCATED;) {
      for (unsigned int i = 0; i < isNull.size(); ++i) {
        int number = 0;
        MYSQL_BIND bind = bindOf(number);
        if (isNull[i] == 0 && mysql_stmt_fetch_column(statement, &bind, i, 0) == 0) sum += number;
      }
    }
    return sum;
  }

  std::string list() const {
    std::string list;
    for (const std::string &name : m_columns.names)
      list += (list.empty() ? "" : ",") + name;
    return list;
  }

  Connection m_connection;
  std::string m_db;
  WideColumns m_columns;
  const RecordSocket &m_listener;
  unsigned char m_scratch[16] = {};
};

}  // namespace

std::unique_ptr<WideTable> openWideByHand(const DatabaseServer &server, const std::string &db,
                                          const WideColumns &columns, const RecordSocket &listener) {
  return std::make_unique<PlainTable>(server, db, columns, listener);
}

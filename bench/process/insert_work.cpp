// What an insert does itself: the statement's text, the values to bind, the handling of the statement. Inside a
// transaction, so that nothing is announced.
#include <benchmark/benchmark.h>
#include <mysql.h>

#include <cstring>
#include <stdexcept>

#include "client_stand_in.h"
#include "columns.h"
#include "works.h"

namespace {

class PlainInsert {
 public:
  unsigned long long run(MYSQL *connection) {
    begin();
    for (const TextColumn &column : kTexts)
      addText(column.name, column.value);
    for (const char *name : kIntNames)
      addNumber(name, MYSQL_TYPE_LONG, m_int);
    for (const char *name : kInt64Names)
      addNumber(name, MYSQL_TYPE_LONGLONG, m_int64);
    addNumber(kDoubleName, MYSQL_TYPE_DOUBLE, m_double);
    return execute(connection);
  }

 private:
  void begin() {
    m_columns = "INSERT INTO item(";
    m_placeholders = ") VALUES (";
    std::memset(m_binds, 0, sizeof m_binds);
    m_count = 0;
  }

  MYSQL_BIND &add(const char *name) {
    if (m_count != 0) {
      m_columns += ',';
      m_placeholders += ',';
    }
    m_columns += name;
    m_placeholders += '?';
    return m_binds[m_count++];
  }

  void addText(const char *name, const char *text) {
    m_lengths[m_count] = std::strlen(text);
    MYSQL_BIND &bind = add(name);
    bind.buffer_type = MYSQL_TYPE_STRING;
    bind.buffer = const_cast<char *>(text);
    bind.length = &m_lengths[m_count - 1];
    bind.buffer_length = *bind.length;
  }

  template <class Number>
  void addNumber(const char *name, enum_field_types type, Number &number) {
    MYSQL_BIND &bind = add(name);
    bind.buffer_type = type;
    bind.buffer = &number;
    bind.buffer_length = sizeof number;
  }

  unsigned long long execute(MYSQL *connection) {
    const std::string sql = m_columns + m_placeholders + ")";
    MYSQL_STMT *statement = mysql_stmt_init(connection);
    if (mysql_stmt_prepare(statement, sql.data(), sql.size()) != 0 || mysql_stmt_bind_param(statement, m_binds) != 0 ||
        mysql_stmt_execute(statement) != 0 || mysql_stmt_affected_rows(statement) != 1) {
      throw std::runtime_error("a plain insert has failed");
    }
    const unsigned long long id = mysql_stmt_insert_id(statement);
    mysql_stmt_close(statement);
    return id;
  }

  std::string m_columns;
  std::string m_placeholders;
  MYSQL_BIND m_binds[kColumnCount];
  unsigned long m_lengths[kColumnCount] = {};
  unsigned int m_count = 0;
  int m_int = kInt;
  long long m_int64 = kInt64;
  double m_double = kDouble;
};

void insertWithLibrary(_orv_db_handle_t *handle, const _orv_db_content_values_t *content, std::size_t count) {
  const ClientStandIn standIn;
  for (std::size_t i = 0; i < count; ++i) {
    unsigned long long id = 0;
    if (orv_db_insert(handle, "item", content, nullptr, &id) != ORV_DB_OK || id != 7)
      throw std::runtime_error("an insert has failed");
  }
}

void insertPlainly(std::size_t count) {
  const ClientStandIn standIn;
  for (std::size_t i = 0; i < count; ++i) {
    PlainInsert insert;
    benchmark::DoNotOptimize(insert.run(nullptr));
  }
}

}  // namespace

void addInsertWork(std::vector<Work> &works, Surroundings &surroundings) {
  const std::shared_ptr<_orv_db_content_values_t> content(orv_db_get_content_values(), orv_db_free_content_values);
  fill(content.get());
  works.push_back({"insert of 10 columns, but for the client library",
                   "text and MYSQL_BIND by hand",
                   {},
                   [content, handle = surroundings.inTransaction.get()](std::size_t count) {
                     insertWithLibrary(handle, content.get(), count);
                   },
                   insertPlainly});
}

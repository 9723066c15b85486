// Reading rows with the client library alone.
#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "reference.h"

namespace reference {

namespace {

// Stored rows of a statement. Each column is bound to a place that is too short for it, for its length and whether it
// is NULL, and then fetched with its type.
class StatementRows : public Rows {
 public:
  explicit StatementRows(Statement statement) : m_statement(std::move(statement)) {
    MYSQL *connection = m_statement->mysql;
    m_fields.reset(mysql_stmt_result_metadata(m_statement.get()));
    require(m_fields != nullptr, connection);
    const MYSQL_FIELD *fields = mysql_fetch_fields(m_fields.get());
    for (unsigned int i = 0; i < kItemColumns; ++i) {
      m_binds[i].buffer_type = fields[i].type;
      m_binds[i].buffer = m_scratch;
      m_binds[i].buffer_length = sizeof m_scratch;
      m_binds[i].length = &m_lengths[i];
      m_binds[i].is_null = &m_isNull[i];
    }
    require(mysql_stmt_bind_result(m_statement.get(), m_binds) == 0, connection);
    require(mysql_stmt_store_result(m_statement.get()) == 0, connection);
  }

  bool next(Item &item) override {
    const int fetched = mysql_stmt_fetch(m_statement.get());
    if (fetched != 0 && fetched != MYSQL_DATA_TRUNCATED) return false;
    const unsigned long nameLength = fetch(0, MYSQL_TYPE_STRING, item.name, sizeof item.name);
    item.name[std::min<unsigned long>(nameLength, sizeof item.name - 1)] = '\0';
    fetchNumber(1, MYSQL_TYPE_LONG, item.price);
    fetchNumber(2, MYSQL_TYPE_LONGLONG, item.stock);
    fetchNumber(3, MYSQL_TYPE_DOUBLE, item.weight);
    item.codeLength = fetch(4, MYSQL_TYPE_BLOB, item.code, sizeof item.code);
    return true;
  }

  void rewind() override { mysql_stmt_data_seek(m_statement.get(), 0); }

 private:
  unsigned long fetch(unsigned int column, enum_field_types type, void *buffer, unsigned long size) {
    if (m_isNull[column] != 0) return 0;
    MYSQL_BIND bind{};
    unsigned long length = 0;
    bind.buffer_type = type;
    bind.buffer = buffer;
    bind.buffer_length = size;
    bind.length = &length;
    return mysql_stmt_fetch_column(m_statement.get(), &bind, column, 0) == 0 ? length : 0;
  }

  template <class Number>
  void fetchNumber(unsigned int column, enum_field_types type, Number &number) {
    if (fetch(column, type, &number, sizeof number) == 0) number = 0;
  }

  Statement m_statement;
  StoredResult m_fields;
  MYSQL_BIND m_binds[kItemColumns] = {};
  unsigned long m_lengths[kItemColumns] = {};
  my_bool m_isNull[kItemColumns] = {};
  unsigned char m_scratch[16] = {};
};

class TextRows : public Rows {
 public:
  explicit TextRows(StoredResult result) : m_result(std::move(result)) {}

  bool next(Item &item) override {
    MYSQL_ROW row = mysql_fetch_row(m_result.get());
    if (row == nullptr) return false;
    const unsigned long *lengths = mysql_fetch_lengths(m_result.get());
    const unsigned long nameLength = copy(row[0], lengths[0], item.name, sizeof item.name - 1);
    item.name[nameLength] = '\0';
    item.price = row[1] != nullptr ? static_cast<int>(std::strtol(row[1], nullptr, 10)) : 0;
    item.stock = row[2] != nullptr ? std::strtoll(row[2], nullptr, 10) : 0;
    item.weight = row[3] != nullptr ? std::strtod(row[3], nullptr) : 0;
    item.codeLength = copy(row[4], lengths[4], item.code, sizeof item.code);
    return true;
  }

  void rewind() override { mysql_data_seek(m_result.get(), 0); }

 private:
  static unsigned long copy(const char *bytes, unsigned long length, void *buffer, unsigned long size) {
    if (bytes == nullptr) return 0;
    const unsigned long copied = std::min(length, size);
    std::memcpy(buffer, bytes, copied);
    return copied;
  }

  StoredResult m_result;
};

}  // namespace

std::unique_ptr<Rows> storeRows(Statement statement) { return std::make_unique<StatementRows>(std::move(statement)); }

std::unique_ptr<Rows> storeTextRows(MYSQL *connection, const std::string &sql) {
  require(mysql_real_query(connection, sql.data(), sql.size()) == 0, connection);
  StoredResult result(mysql_store_result(connection));
  require(result != nullptr, connection);
  return std::make_unique<TextRows>(std::move(result));
}

}  // namespace reference

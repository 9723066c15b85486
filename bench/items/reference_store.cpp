// The works done with the client library alone.
#include "reference.h"

namespace reference {

namespace {

constexpr char kInsert[] = "INSERT INTO work(code,name,price,stock,weight) VALUES (?,?,?,?,?)";
constexpr char kLookUp[] = "SELECT _id FROM work WHERE _id=?";
constexpr char kUpdate[] = "UPDATE work SET price=? WHERE _id=?";
constexpr char kDelete[] = "DELETE FROM work WHERE _id=?";
constexpr char kSelect[] = "SELECT name,price,stock,weight,code FROM item WHERE _id";

constexpr int kInserted = 1;
constexpr int kUpdated = 2;
constexpr int kDeleted = 4;
constexpr unsigned long long kUnknownRow = ~0ULL;

class ReferenceStore : public ItemStore {
 public:
  ReferenceStore(const DatabaseServer &server, std::string db, const RecordSocket *listener)
      : m_connection(connect(server, db)), m_db(std::move(db)), m_listener(listener) {}

  unsigned long long insert(const Item &item) override {
    Item values = item;
    unsigned long nameLength = std::char_traits<char>::length(values.name);
    MYSQL_BIND binds[] = {bindOf(values.code, values.codeLength, MYSQL_TYPE_BLOB),
                          bindOf(values.name, nameLength, MYSQL_TYPE_STRING), bindOf(values.price),
                          bindOf(values.stock), bindOf(values.weight)};
    const unsigned long long id = write(kInsert, binds);
    announce(kInserted, id);
    return id;
  }

  void update(unsigned long long id, int price) override {
    const unsigned long long found = lookUp(id);
    MYSQL_BIND binds[] = {bindOf(price), bindOf(id)};
    write(kUpdate, binds);
    announce(kUpdated, found);
  }

  void remove(unsigned long long id) override {
    MYSQL_BIND bind = bindOf(id);
    write(kDelete, &bind);
    announce(kDeleted, kUnknownRow);
  }

  std::unique_ptr<Rows> select(unsigned long long lastId) override { return query("<=?", lastId); }
  std::unique_ptr<Rows> selectOne(unsigned long long id) override { return query("=?", id); }
  std::unique_ptr<Rows> selectText(unsigned long long lastId) override {
    return storeTextRows(connection(), kSelect + ("<=" + std::to_string(lastId)));
  }
  std::unique_ptr<Rows> selectOneText(unsigned long long id) override {
    return storeTextRows(connection(), kSelect + ("=" + std::to_string(id)));
  }

 protected:
  MYSQL *connection() const { return m_connection.get(); }

  void announce(int action, unsigned long long rowId) const {
    if (m_listener != nullptr) m_listener->announce(m_db, "work", action, rowId);
  }

  // Gives the new id, if the statement has made one.
  unsigned long long executeWrite(MYSQL_STMT *statement, MYSQL_BIND *values) const {
    execute(statement, values);
    require(mysql_stmt_affected_rows(statement) == 1, connection());
    return mysql_stmt_insert_id(statement);
  }

 private:
  unsigned long long write(const char *sql, MYSQL_BIND *values) const {
    const Statement statement = prepare(connection(), sql);
    return executeWrite(statement.get(), values);
  }

  unsigned long long lookUp(unsigned long long id) const {
    const Statement statement = prepare(connection(), kLookUp);
    MYSQL_BIND bind = bindOf(id);
    execute(statement.get(), &bind);
    return firstId(statement.get());
  }

  std::unique_ptr<Rows> query(const char *condition, unsigned long long id) const {
    Statement statement = prepare(connection(), std::string(kSelect) + condition);
    MYSQL_BIND bind = bindOf(id);
    execute(statement.get(), &bind);
    return storeRows(std::move(statement));
  }

  Connection m_connection;
  std::string m_db;
  const RecordSocket *m_listener;
};

class PreparedStore : public ReferenceStore {
 public:
  PreparedStore(const DatabaseServer &server, const std::string &db, const RecordSocket *listener)
      : ReferenceStore(server, db, listener),
        m_lookUp(prepare(connection(), kLookUp)),
        m_update(prepare(connection(), kUpdate)) {}

  void update(unsigned long long id, int price) override {
    MYSQL_BIND bind = bindOf(id);
    execute(m_lookUp.get(), &bind);
    const unsigned long long found = firstId(m_lookUp.get());
    mysql_stmt_free_result(m_lookUp.get());
    MYSQL_BIND binds[] = {bindOf(price), bindOf(id)};
    executeWrite(m_update.get(), binds);
    announce(kUpdated, found);
  }

 private:
  Statement m_lookUp;
  Statement m_update;
};

}  // namespace

}  // namespace reference

std::unique_ptr<ItemStore> openReference(const DatabaseServer &server, const std::string &db,
                                         const RecordSocket *listener) {
  return std::make_unique<reference::ReferenceStore>(server, db, listener);
}

std::unique_ptr<ItemStore> openPreparedReference(const DatabaseServer &server, const std::string &db,
                                                 const RecordSocket *listener) {
  return std::make_unique<reference::PreparedStore>(server, db, listener);
}

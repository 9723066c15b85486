// The works done with the library, as an application does them.
#include <orvdb_client.h>

#include <stdexcept>

#include "item_store.h"
#include "support/owners.h"
#include "support/params.h"

namespace {

const char *s_columns[kItemColumns] = {"name", "price", "stock", "weight", "code"};

void require(bool holds) {
  if (!holds) throw std::runtime_error(std::string("the library: ") + orv_db_get_error_str());
}

class LibraryRows : public Rows {
 public:
  explicit LibraryRows(Result result) : m_result(std::move(result)) {}

  bool next(Item &item) override {
    if (orv_db_result_step(m_result.get()) != ORV_DB_ROW) return false;
    orv_db_result_column_text(m_result.get(), 0, item.name, sizeof item.name);
    orv_db_result_column_int(m_result.get(), 1, &item.price);
    orv_db_result_column_int64(m_result.get(), 2, &item.stock);
    orv_db_result_column_double(m_result.get(), 3, &item.weight);
    orv_db_result_column_bytes(m_result.get(), 4, &item.codeLength);
    orv_db_result_column_blob(m_result.get(), 4, item.code, sizeof item.code);
    return true;
  }

  void rewind() override { orv_db_result_reset(m_result.get()); }

 private:
  Result m_result;
};

class LibraryStore : public ItemStore {
 public:
  LibraryStore(const DatabaseServer &server, const std::string &db)
      : m_handle(
            orv_db_open(server.host.c_str(), server.user.c_str(), server.password.c_str(), db.c_str(), server.port)) {
    require(m_handle != nullptr);
  }

  unsigned long long insert(const Item &item) override {
    const ContentValues content(orv_db_get_content_values());
    orv_db_content_put_text(content.get(), "name", item.name);
    orv_db_content_put_int(content.get(), "price", item.price);
    orv_db_content_put_int64(content.get(), "stock", item.stock);
    orv_db_content_put_double(content.get(), "weight", item.weight);
    orv_db_content_put_blob(content.get(), "code", item.code, static_cast<unsigned int>(item.codeLength));
    unsigned long long count = 0;
    unsigned long long id = 0;
    require(orv_db_insert(m_handle.get(), "work", content.get(), &count, &id) == ORV_DB_OK && count == 1);
    return id;
  }

  void update(unsigned long long id, int price) override {
    const ContentValues content(orv_db_get_content_values());
    orv_db_content_put_int(content.get(), "price", price);
    const _orv_db_param_t param = idParam(id);
    unsigned long long count = 0;
    require(orv_db_update(m_handle.get(), "work", content.get(), "_id=?", &param, 1, &count) == ORV_DB_OK &&
            count == 1);
  }

  void remove(unsigned long long id) override {
    const _orv_db_param_t param = idParam(id);
    unsigned long long count = 0;
    require(orv_db_delete(m_handle.get(), "work", "_id=?", &param, 1, &count) == ORV_DB_OK && count == 1);
  }

  std::unique_ptr<Rows> select(unsigned long long lastId) override { return query("_id<=?", lastId); }
  std::unique_ptr<Rows> selectOne(unsigned long long id) override { return query("_id=?", id); }
  std::unique_ptr<Rows> selectText(unsigned long long lastId) override {
    return rawQuery("_id<=" + std::to_string(lastId));
  }
  std::unique_ptr<Rows> selectOneText(unsigned long long id) override { return rawQuery("_id=" + std::to_string(id)); }

 private:
  std::unique_ptr<Rows> query(const char *where, unsigned long long id) {
    const _orv_db_param_t param = idParam(id);
    ResultSetInfo *result = nullptr;
    require(orv_db_query(m_handle.get(), "item", s_columns, kItemColumns, where, &param, 1, nullptr, &result) ==
            ORV_DB_OK);
    return std::make_unique<LibraryRows>(Result(result));
  }

  std::unique_ptr<Rows> rawQuery(const std::string &where) {
    const std::string sql = "SELECT name,price,stock,weight,code FROM item WHERE " + where;
    ResultSetInfo *result = nullptr;
    require(orv_db_raw_query(m_handle.get(), sql.data(), sql.size(), &result) == ORV_DB_OK);
    return std::make_unique<LibraryRows>(Result(result));
  }

  Handle m_handle;
};

}  // namespace

std::unique_ptr<ItemStore> openWithLibrary(const DatabaseServer &server, const std::string &db) {
  return std::make_unique<LibraryStore>(server, db);
}

#include "table_writer.h"

namespace {

void expectOneRow(unsigned long long affectedRows, const std::string &action) {
  if (affectedRows != 1) throw std::runtime_error(action + ": " + std::to_string(affectedRows) + " rows");
}

Handle createDatabase(const std::string &connectionFile, const std::string &database) {
  rawQuery(openDatabase(connectionFile, ""), "CREATE DATABASE IF NOT EXISTS " + database + " CHARACTER SET utf8mb4");
  Handle handle = openDatabase(connectionFile, database);
  rawQuery(handle,
           "CREATE TABLE vendors (_id BIGINT AUTO_INCREMENT PRIMARY KEY, code SMALLINT UNSIGNED NOT NULL,"
           " name VARCHAR(255) NOT NULL)");
  rawQuery(handle,
           "CREATE TABLE devices (_id BIGINT AUTO_INCREMENT PRIMARY KEY, vendor_id BIGINT NOT NULL,"
           " code SMALLINT UNSIGNED NOT NULL, name VARCHAR(255) NOT NULL, INDEX (vendor_id))");
  return handle;
}

}  // namespace

TableWriter::TableWriter(const std::string &connectionFile, const std::string &database)
    : m_handle(createDatabase(connectionFile, database)), m_journal(database) {}

void TableWriter::begin() {
  check(orv_db_begin_transaction(m_handle.get()), "begin");
  m_journal.begin();
}

void TableWriter::commit() {
  check(orv_db_commit_transaction(m_handle.get()), "commit");
  m_journal.commit();
}

TableWriter::RowId TableWriter::insertVendor(std::uint16_t code, const std::string &name) {
  const Values values = newValues();
  orv_db_content_put_short_uint(values.get(), "code", code);
  orv_db_content_put_text(values.get(), "name", name.c_str());
  return insert(kVendors, values, {std::to_string(code), name});
}

TableWriter::RowId TableWriter::insertDevice(RowId vendor, std::uint16_t code, const std::string &name) {
  const Values values = newValues();
  orv_db_content_put_uint64(values.get(), "vendor_id", vendor);
  orv_db_content_put_short_uint(values.get(), "code", code);
  orv_db_content_put_text(values.get(), "name", name.c_str());
  return insert(kDevices, values, {std::to_string(vendor), std::to_string(code), name});
}

TableWriter::RowId TableWriter::insert(const Table &table, const Values &values, Fields fields) {
  RowId id = 0;
  check(orv_db_insert(m_handle.get(), table.name, values.get(), nullptr, &id), "insert");
  fields.insert(fields.begin(), std::to_string(id));
  m_journal.inserted(table.name, id, fields);
  return id;
}

void TableWriter::rename(const Table &table, RowId id, const std::string &name) {
  const Values values = newValues();
  orv_db_content_put_text(values.get(), "name", name.c_str());
  const _orv_db_param_t where = uint64Param(id);
  unsigned long long affectedRows = 0;
  check(orv_db_update(m_handle.get(), table.name, values.get(), "_id=?", &where, 1, &affectedRows), "update");
  expectOneRow(affectedRows, "update");
  m_journal.updatedLastField(table.name, id, name);
}

void TableWriter::remove(const Table &table, RowId id) {
  const _orv_db_param_t where = uint64Param(id);
  unsigned long long affectedRows = 0;
  check(orv_db_delete(m_handle.get(), table.name, "_id=?", &where, 1, &affectedRows), "delete");
  expectOneRow(affectedRows, "delete");
  m_journal.deleted(table.name, id);
}

// Writes rows of the demo's tables and keeps a journal of it.
#pragma once

#include <cstdint>
#include <string>

#include "demo_database.h"
#include "journal.h"

class TableWriter {
 public:
  using RowId = Journal::RowId;

  // Makes the database and its tables.
  TableWriter(const std::string &connectionFile, const std::string &database);

  void begin();
  void commit();

  RowId insertVendor(std::uint16_t code, const std::string &name);
  RowId insertDevice(RowId vendor, std::uint16_t code, const std::string &name);
  void rename(const Table &table, RowId id, const std::string &name);
  void remove(const Table &table, RowId id);

  const Handle &handle() const { return m_handle; }
  Journal &journal() { return m_journal; }

 private:
  RowId insert(const Table &table, const Values &values, Fields fields);

  Handle m_handle;
  Journal m_journal;
};

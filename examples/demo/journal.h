// What a writer has done and what must come of it: the content of its tables, and the changes that other processes
// must hear of, in order. Both are written down as lines, so that they can be compared with what a watcher printed and
// with what a database holds.
#pragma once

#include <map>
#include <set>
#include <string>
#include <vector>

#include "orvdb_owners.h"

using Fields = std::vector<std::string>;  // of a row, the row id first

// A row as one line of the content.
std::string rowLine(const std::string &table, const Fields &fields);

class Journal {
 public:
  using RowId = unsigned long long;
  using Rows = std::map<RowId, Fields>;

  explicit Journal(const std::string &database);

  void begin();
  void commit();

  void inserted(const std::string &table, RowId id, const Fields &fields);
  void updatedLastField(const std::string &table, RowId id, const std::string &value);
  void deleted(const std::string &table, RowId id);
  void notified(const std::string &name, _orv_db_action_t action, RowId id);

  const Rows &rows(const std::string &table) const { return m_tables.at(table); }

  // Writes the files `changes` and `rows` into a directory.
  void writeTo(const std::string &directory) const;

 private:
  void announce(const std::string &table, _orv_db_action_t action, RowId id);

  std::map<std::string, Rows> m_tables;
  std::vector<std::string> m_changes;
  bool m_inTransaction = false;
  std::set<std::string> m_writtenInTransactions;  // kept from one commit to the next, as the library does
};

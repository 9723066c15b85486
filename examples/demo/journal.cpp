#include "journal.h"

#include <fstream>

namespace {

constexpr Journal::RowId kWholeTable = 0;
constexpr Journal::RowId kUnknownRow = ~Journal::RowId{0};

const char *actionName(_orv_db_action_t action) {
  switch (action) {
    case ORV_DB_ACTION_INSERT:
      return "insert";
    case ORV_DB_ACTION_UPDATE:
      return "update";
    case ORV_DB_ACTION_DELETE:
      return "delete";
    default:
      return "all";
  }
}

std::string changeLine(const std::string &table, _orv_db_action_t action, Journal::RowId id) {
  return table + ' ' + actionName(action) + ' ' + std::to_string(id);
}

template <class Lines>
void writeLines(const std::string &path, const Lines &lines) {
  std::ofstream file(path);
  for (const std::string &line : lines) {
    file << line << '\n';
  }
  file.close();
  if (!file) throw std::runtime_error("cannot write " + path);
}

}  // namespace

std::string rowLine(const std::string &table, const Fields &fields) {
  std::string line = table;
  for (const std::string &field : fields) {
    line += '\t' + field;
  }
  return line;
}

Journal::Journal(const std::string &database) : m_changes{"# changes of " + database} {}

void Journal::begin() { m_inTransaction = true; }

void Journal::commit() {
  m_inTransaction = false;
  for (const std::string &table : m_writtenInTransactions) {
    announce(table, ORV_DB_ACTION_ALL, kWholeTable);
  }
}

void Journal::inserted(const std::string &table, RowId id, const Fields &fields) {
  m_tables[table][id] = fields;
  announce(table, ORV_DB_ACTION_INSERT, id);
}

void Journal::updatedLastField(const std::string &table, RowId id, const std::string &value) {
  m_tables.at(table).at(id).back() = value;
  announce(table, ORV_DB_ACTION_UPDATE, id);
}

void Journal::deleted(const std::string &table, RowId id) {
  m_tables.at(table).erase(id);
  announce(table, ORV_DB_ACTION_DELETE, kUnknownRow);
}

void Journal::notified(const std::string &name, _orv_db_action_t action, RowId id) {
  m_changes.push_back(changeLine(name, action, id));
}

void Journal::writeTo(const std::string &directory) const {
  std::vector<std::string> content;
  for (const auto &[table, rows] : m_tables) {
    for (const auto &[id, fields] : rows) {
      content.push_back(rowLine(table, fields));
    }
  }
  writeLines(directory + "/changes", m_changes);
  writeLines(directory + "/rows", content);
}

// A transaction is announced table by table when it is committed, whatever was done in it.
void Journal::announce(const std::string &table, _orv_db_action_t action, RowId id) {
  if (m_inTransaction) {
    m_writtenInTransactions.insert(table);
  } else {
    m_changes.push_back(changeLine(table, action, id));
  }
}

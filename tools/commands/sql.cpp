#include "commands/sql.h"

#include <algorithm>
#include <cstdio>

#include "changes/changes.h"
#include "database/statement_kind.h"
#include "exit_status.h"
#include "statuses.h"
#include "terminal/input.h"

namespace {

std::string statementText(const std::string &text) {
  const std::string all = text == "-" ? readInput(text) : text;
  const std::size_t last = all.find_last_not_of(" \t\r\n");
  if (last == std::string::npos) throw WrongUsage("there is no SQL text");
  return all.substr(0, last + 1);
}

Result run(_orv_db_handle_t *handle, const std::string &text) {
  ResultSetInfo *rows = nullptr;
  const unsigned int status = orv_db_raw_query(handle, text.data(), text.size(), &rows);
  if (status != ORV_DB_OK) throw Failure(statementProblem(status));
  return Result(rows);
}

bool isOneOf(const std::string &word, std::initializer_list<const char *> words) {
  return std::find(words.begin(), words.end(), word) != words.end();
}

// Whether rows of tables that somebody may watch are others now, as far as the server's answer tells.
bool hasChangedRows(const std::string &text, bool returnsRows, unsigned long long affectedRows) {
  const std::string word = firstWord(text);
  if (word == "truncate") return true;
  if (affectedRows == 0 || isOneOf(word, {"create", "drop"})) return false;
  return !returnsRows || isOneOf(word, {"insert", "replace", "delete"});
}

void warnThatNobodyKnows() {
  std::fputs(
      "orvdb: nobody was told of this change: announce it with --notify TABLE or 'orvdb notify', or write with "
      "'orvdb insert', 'update' or 'delete'\n",
      stderr);
}

}  // namespace

int sql(const SqlOptions &options) {
  for (const std::string &table : options.announcedTables) {
    checkName("table", table);
    checkName("database", options.connection.database);
  }
  const std::string text = statementText(options.text);
  const Handle handle = connect(options.connection);
  const Result rows = run(handle.get(), text);
  const unsigned long long affectedRows = orv_db_raw_affected_rows(handle.get());
  if (rows != nullptr) {
    printRows(rows.get(), options.format);
  } else {
    printOutcome({affectedRows, orv_db_raw_insert_id(handle.get())}, options.format);
  }
  for (const std::string &table : options.announcedTables) {
    announce(options.connection.database, table, ORV_DB_ACTION_ALL, kWholeTable);
  }
  if (options.announcedTables.empty() && hasChangedRows(text, rows != nullptr, affectedRows)) warnThatNobodyKnows();
  return kDone;
}

// The stand-in's prepared statements.
#include <algorithm>
#include <cstring>

#include "fault/client_library.h"
#include "fault/failing_call.h"

namespace {

struct Statement : MYSQL_STMT {
  StatementScript *script;
  std::string text;
  std::vector<MYSQL_BIND> columns;
  std::size_t nextRow = 0;
};

Statement &statementOf(MYSQL_STMT *stmt, const std::string &call) {
  client().note(call);
  if (client().openStatements.count(stmt) == 0) ruleBroken(call + ": the statement has been closed");
  return static_cast<Statement &>(*stmt);
}

// One that has been prepared, as it must be for everything but closing it and asking for its error.
Statement &preparedStatement(MYSQL_STMT *stmt, const std::string &call) {
  Statement &used = statementOf(stmt, call);
  if (used.script == nullptr) ruleBroken(call + ": the statement has not been prepared");
  return used;
}

Bound boundParam(const MYSQL_BIND &bind) {
  if (bind.buffer == nullptr) return {bind, ""};
  const unsigned long length = bind.length != nullptr ? *bind.length : bind.buffer_length;
  return {bind, std::string(static_cast<const char *>(bind.buffer), length)};
}

void storeRow(const Statement &statement, const ScriptedRow &row) {
  for (std::size_t i = 0; i < row.size(); ++i) {
    *statement.columns[i].is_null = row[i] == nullptr ? 1 : 0;
    if (row[i] != nullptr) *statement.columns[i].length = std::strlen(row[i]);
  }
}

void storeNumber(const char *text, const MYSQL_BIND &bind) {
  const unsigned long long number = std::strtoull(text, nullptr, 10);
  std::memcpy(bind.buffer, &number, bind.buffer_length);
}

void storeText(const char *text, const MYSQL_BIND &bind) {
  *bind.length = std::strlen(text);
  std::memcpy(bind.buffer, text, std::min(*bind.length, bind.buffer_length));
}

}  // namespace

extern "C" {

MYSQL_STMT *mysql_stmt_init(MYSQL *connection) {
  const NoFailures calm;
  client().note("mysql_stmt_init");
  if (client().connections.count(connection) == 0) ruleBroken("mysql_stmt_init: the connection is not open");
  int &failing = client().script.failingStatementInit;
  if (failing != 0 && --failing == 0) return nullptr;
  auto *statement = new Statement{};
  client().openStatements.insert(statement);
  return statement;
}

int mysql_stmt_prepare(MYSQL_STMT *stmt, const char *text, unsigned long length) {
  const NoFailures calm;
  const std::string sql(text, length);
  Statement &statement = statementOf(stmt, "mysql_stmt_prepare " + sql);
  StatementScript &script = client().statement(sql.substr(0, sql.find(' ')));
  if (script.prepare != 0) return script.prepare;
  statement.script = &script;
  statement.text = sql;
  return 0;
}

unsigned long mysql_stmt_param_count(MYSQL_STMT *stmt) {
  const NoFailures calm;
  const Statement &statement = preparedStatement(stmt, "mysql_stmt_param_count");
  const auto questionMarks = std::count(statement.text.begin(), statement.text.end(), '?');
  return statement.script->parameterCount.value_or(static_cast<unsigned long>(questionMarks));
}

my_bool mysql_stmt_bind_param(MYSQL_STMT *stmt, MYSQL_BIND *binds) {
  const NoFailures calm;
  Statement &statement = preparedStatement(stmt, "mysql_stmt_bind_param");
  const auto count = std::count(statement.text.begin(), statement.text.end(), '?');
  client().boundParams.clear();
  for (auto i = 0; i < count; ++i)
    client().boundParams.push_back(boundParam(binds[i]));
  return statement.script->bindParam;
}

int mysql_stmt_execute(MYSQL_STMT *stmt) {
  const NoFailures calm;
  Statement &statement = preparedStatement(stmt, "mysql_stmt_execute");
  if (statement.script->execute == 0) client().executed.push_back(statement.text);
  return statement.script->execute;
}

const char *mysql_stmt_error(MYSQL_STMT *stmt) {
  const NoFailures calm;
  statementOf(stmt, "mysql_stmt_error");
  return client().script.statementError;
}

my_bool mysql_stmt_close(MYSQL_STMT *stmt) {
  const NoFailures calm;
  Statement &statement = statementOf(stmt, "mysql_stmt_close");
  client().openStatements.erase(stmt);
  delete &statement;
  return 0;
}

MYSQL_RES *mysql_stmt_result_metadata(MYSQL_STMT *stmt) {
  const NoFailures calm;
  const Statement &statement = preparedStatement(stmt, "mysql_stmt_result_metadata");
  return statement.script->hasMetadata ? makeResult() : nullptr;
}

my_bool mysql_stmt_bind_result(MYSQL_STMT *stmt, MYSQL_BIND *binds) {
  const NoFailures calm;
  Statement &statement = preparedStatement(stmt, "mysql_stmt_bind_result");
  statement.columns.assign(binds, binds + client().script.columns.size());
  client().boundColumns.clear();
  for (const MYSQL_BIND &column : statement.columns)
    client().boundColumns.push_back({column, ""});
  return statement.script->bindResult;
}

int mysql_stmt_store_result(MYSQL_STMT *stmt) {
  const NoFailures calm;
  return preparedStatement(stmt, "mysql_stmt_store_result").script->storeResult;
}

my_ulonglong mysql_stmt_num_rows(MYSQL_STMT *stmt) {
  const NoFailures calm;
  preparedStatement(stmt, "mysql_stmt_num_rows");
  return client().script.rows.size();
}

int mysql_stmt_fetch(MYSQL_STMT *stmt) {
  const NoFailures calm;
  Statement &statement = preparedStatement(stmt, "mysql_stmt_fetch");
  std::deque<int> &scripted = statement.script->fetches;
  if (!scripted.empty()) {
    const int outcome = scripted.front();
    scripted.pop_front();
    return outcome;
  }
  if (statement.nextRow == client().script.rows.size()) return MYSQL_NO_DATA;
  storeRow(statement, client().script.rows[statement.nextRow++]);
  return MYSQL_DATA_TRUNCATED;
}

int mysql_stmt_fetch_column(MYSQL_STMT *stmt, MYSQL_BIND *bind, unsigned int column, unsigned long offset) {
  const NoFailures calm;
  const Statement &statement =
      preparedStatement(stmt, "mysql_stmt_fetch_column " + std::to_string(column) + ' ' + std::to_string(offset));
  client().fetchedColumns.push_back({*bind, ""});
  if (statement.script->fetchColumn != 0) return statement.script->fetchColumn;
  const char *text = client().script.rows.at(statement.nextRow - 1).at(column);
  const bool isText = bind->buffer_type == MYSQL_TYPE_STRING || bind->buffer_type == MYSQL_TYPE_BLOB;
  (isText ? storeText : storeNumber)(text, *bind);
  return 0;
}

void mysql_stmt_data_seek(MYSQL_STMT *stmt, my_ulonglong row) {
  const NoFailures calm;
  preparedStatement(stmt, "mysql_stmt_data_seek").nextRow = static_cast<std::size_t>(row);
}

my_ulonglong mysql_stmt_affected_rows(MYSQL_STMT *stmt) {
  const NoFailures calm;
  return preparedStatement(stmt, "mysql_stmt_affected_rows").script->affectedRows;
}

my_ulonglong mysql_stmt_insert_id(MYSQL_STMT *stmt) {
  const NoFailures calm;
  return preparedStatement(stmt, "mysql_stmt_insert_id").script->insertId;
}
}

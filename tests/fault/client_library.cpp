// What the stand-in notes, and the functions of connections and of the text protocol.
#include "fault/client_library.h"

#include <cstring>
#include <iostream>

#include "fault/failing_call.h"

namespace {

thread_local bool s_watched = false;

struct Result : MYSQL_RES {
  std::vector<MYSQL_FIELD> fieldList;
  std::size_t nextRow = 0;
  std::vector<char *> texts;
  std::vector<unsigned long> textLengths;
};

std::string quoted(const char *text) { return text != nullptr ? '"' + std::string(text) + '"' : "null"; }

ClientLibrary::Connection &connectionOf(const MYSQL *connection) {
  const auto found = client().connections.find(connection);
  if (found == client().connections.end()) ruleBroken("a connection is used that is not open");
  return found->second;
}

void use(const MYSQL *connection, const std::string &call) {
  client().note(call);
  connectionOf(connection);
}

Result &resultOf(MYSQL_RES *result, const std::string &call) {
  client().note(call);
  if (client().openResults.count(result) == 0) ruleBroken(call + ": the result has been freed");
  return static_cast<Result &>(*result);
}

std::string optionValue(mysql_option option, const void *value) {
  switch (option) {
    case MYSQL_OPT_RECONNECT:
      return std::to_string(static_cast<int>(*static_cast<const my_bool *>(value)));
    case MYSQL_OPT_CONNECT_TIMEOUT:
    case MYSQL_OPT_READ_TIMEOUT:
    case MYSQL_OPT_WRITE_TIMEOUT:
      return std::to_string(*static_cast<const unsigned int *>(value));
    default:
      return quoted(static_cast<const char *>(value));
  }
}

}  // namespace

// Never destroyed: the library may still call when the process exits.
ClientLibrary &client() {
  static auto *library = new ClientLibrary;
  return *library;
}

void watchThisThread() { s_watched = true; }

bool isWatchedThread() { return s_watched; }

void ClientLibrary::note(const std::string &call) {
  if (s_watched) calls_.push_back(call);
}

Calls ClientLibrary::calls(const std::string &function) const {
  Calls found;
  for (const std::string &call : calls_) {
    if (call == function || call.compare(0, function.size() + 1, function + ' ') == 0) found.push_back(call);
  }
  return found;
}

void ruleBroken(const std::string &rule) {
  std::cerr << "client library: " << rule << std::endl;
  std::abort();
}

MYSQL_RES *makeResult() {
  auto *result = new Result{};
  for (const ScriptedColumn &column : client().script.columns) {
    MYSQL_FIELD field{};
    field.name = const_cast<char *>(column.name);
    field.type = column.type;
    result->fieldList.push_back(field);
  }
  client().openResults.insert(result);
  return result;
}

extern "C" {

MYSQL *mysql_init(MYSQL *connection) {
  const NoFailures calm;
  client().note("mysql_init");
  if (client().script.initFails) return nullptr;
  if (!client().connections.emplace(connection, ClientLibrary::Connection{}).second) ruleBroken("mysql_init twice");
  return connection;
}

// Does not ask for an open connection: some options are set whether or not mysql_init() has failed.
int mysql_options(MYSQL *, mysql_option option, const void *value) {
  const NoFailures calm;
  client().note("mysql_options " + std::to_string(option) + ' ' + optionValue(option, value));
  return client().script.options;
}

MYSQL *mysql_real_connect(MYSQL *connection, const char *host, const char *user, const char *passwd, const char *db,
                          unsigned int port, const char *unixSocket, unsigned long flags) {
  const NoFailures calm;
  use(connection, "mysql_real_connect " + quoted(host) + ' ' + quoted(user) + ' ' + quoted(passwd) + ' ' + quoted(db) +
                      ' ' + std::to_string(port) + ' ' + quoted(unixSocket) + ' ' + std::to_string(flags));
  return client().script.connectFails ? nullptr : connection;
}

void mysql_close(MYSQL *connection) {
  const NoFailures calm;
  use(connection, "mysql_close");
  client().connections.erase(connection);
}

int mysql_ping(MYSQL *connection) {
  const NoFailures calm;
  use(connection, "mysql_ping");
  return client().script.ping;
}

unsigned int mysql_errno(MYSQL *connection) {
  const NoFailures calm;
  use(connection, "mysql_errno");
  return client().script.errorNumber;
}

const char *mysql_error(MYSQL *connection) {
  const NoFailures calm;
  use(connection, "mysql_error");
  return client().script.error;
}

my_ulonglong mysql_affected_rows(MYSQL *connection) {
  const NoFailures calm;
  use(connection, "mysql_affected_rows");
  return client().script.affectedRows;
}

my_ulonglong mysql_insert_id(MYSQL *connection) {
  const NoFailures calm;
  use(connection, "mysql_insert_id");
  return client().script.insertId;
}

my_bool mysql_autocommit(MYSQL *connection, my_bool mode) {
  const NoFailures calm;
  use(connection, "mysql_autocommit " + std::to_string(mode));
  if (client().script.autocommit == 0) connectionOf(connection).serverStatus = mode != 0 ? SERVER_STATUS_AUTOCOMMIT : 0;
  return client().script.autocommit;
}

my_bool mysql_commit(MYSQL *connection) {
  const NoFailures calm;
  use(connection, "mysql_commit");
  return client().script.commit;
}

my_bool mysql_rollback(MYSQL *connection) {
  const NoFailures calm;
  use(connection, "mysql_rollback");
  return client().script.rollback;
}

my_bool mariadb_get_infov(MYSQL *connection, mariadb_value value, void *answer, ...) {
  const NoFailures calm;
  use(connection, "mariadb_get_infov " + std::to_string(value));
  if (client().script.statusIsUnknown) return 1;
  *static_cast<unsigned int *>(answer) = connectionOf(connection).serverStatus;
  return 0;
}

int mysql_real_query(MYSQL *connection, const char *text, unsigned long length) {
  const NoFailures calm;
  const std::string sql(text, length);
  use(connection, "mysql_real_query " + sql);
  if (client().script.realQuery == 0) client().executed.push_back(sql);
  return client().script.realQuery;
}

MYSQL_RES *mysql_store_result(MYSQL *connection) {
  const NoFailures calm;
  use(connection, "mysql_store_result");
  return client().script.storesResult ? makeResult() : nullptr;
}

void mysql_free_result(MYSQL_RES *result) {
  const NoFailures calm;
  Result &freed = resultOf(result, "mysql_free_result");
  client().openResults.erase(result);
  delete &freed;
}

unsigned int mysql_num_fields(MYSQL_RES *result) {
  const NoFailures calm;
  return static_cast<unsigned int>(resultOf(result, "mysql_num_fields").fieldList.size());
}

my_ulonglong mysql_num_rows(MYSQL_RES *result) {
  const NoFailures calm;
  resultOf(result, "mysql_num_rows");
  return client().script.rows.size();
}

MYSQL_FIELD *mysql_fetch_fields(MYSQL_RES *result) {
  const NoFailures calm;
  Result &used = resultOf(result, "mysql_fetch_fields");
  return client().script.hasFieldList ? used.fieldList.data() : nullptr;
}

MYSQL_FIELD *mysql_fetch_field_direct(MYSQL_RES *result, unsigned int index) {
  const NoFailures calm;
  Result &used = resultOf(result, "mysql_fetch_field_direct");
  return client().script.hasFields ? &used.fieldList.at(index) : nullptr;
}

MYSQL_ROW mysql_fetch_row(MYSQL_RES *result) {
  const NoFailures calm;
  Result &used = resultOf(result, "mysql_fetch_row");
  if (used.nextRow == client().script.rows.size()) return nullptr;
  used.texts.clear();
  used.textLengths.clear();
  for (const char *text : client().script.rows[used.nextRow++]) {
    used.texts.push_back(const_cast<char *>(text));
    used.textLengths.push_back(text != nullptr ? std::strlen(text) : 0);
  }
  return used.texts.data();
}

unsigned long *mysql_fetch_lengths(MYSQL_RES *result) {
  const NoFailures calm;
  return resultOf(result, "mysql_fetch_lengths").textLengths.data();
}

void mysql_data_seek(MYSQL_RES *result, my_ulonglong row) {
  const NoFailures calm;
  resultOf(result, "mysql_data_seek").nextRow = static_cast<std::size_t>(row);
}
}

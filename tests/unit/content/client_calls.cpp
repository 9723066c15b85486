#include "client_calls.h"

#include <mysql.h>

#include <mutex>

#include "core/handle.h"

namespace {

std::mutex s_guard;
std::vector<std::string> s_texts;
std::vector<std::string> s_calls;
std::vector<std::string> s_unlockedCalls;

ORV_UNCHECKED bool isLocked(MYSQL *connection) {
  mutex &lock = reinterpret_cast<_orv_db_handle_t *>(connection)->lock;
  if (!lock.tryLock()) return true;
  lock.unlock();
  return false;
}

void note(const char *function, MYSQL *connection) {
  const bool locked = isLocked(connection);
  const std::lock_guard<std::mutex> noting(s_guard);
  s_calls.emplace_back(function);
  if (!locked) s_unlockedCalls.emplace_back(function);
}

template <class Value>
Value copyOf(const Value &value) {
  const std::lock_guard<std::mutex> copying(s_guard);
  return value;
}

}  // namespace

std::vector<std::string> preparedTexts() { return copyOf(s_texts); }
std::vector<std::string> statementCalls() { return copyOf(s_calls); }
std::vector<std::string> unlockedCalls() { return copyOf(s_unlockedCalls); }

// The linker gives these names: a call of f reaches __wrap_f, and __real_f is the client library's f.
// NOLINTBEGIN(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)
extern "C" {

MYSQL_STMT *__real_mysql_stmt_init(MYSQL *mysql);
int __real_mysql_stmt_prepare(MYSQL_STMT *stmt, const char *query, unsigned long length);
int __real_mysql_stmt_execute(MYSQL_STMT *stmt);
int __real_mysql_stmt_store_result(MYSQL_STMT *stmt);
int __real_mysql_stmt_fetch(MYSQL_STMT *stmt);
int __real_mysql_stmt_fetch_column(MYSQL_STMT *stmt, MYSQL_BIND *bind, unsigned int column, unsigned long offset);
my_bool __real_mysql_stmt_close(MYSQL_STMT *stmt);

MYSQL_STMT *__wrap_mysql_stmt_init(MYSQL *mysql) {
  note("init", mysql);
  return __real_mysql_stmt_init(mysql);
}

int __wrap_mysql_stmt_prepare(MYSQL_STMT *stmt, const char *query, unsigned long length) {
  note("prepare", stmt->mysql);
  {
    const std::lock_guard<std::mutex> noting(s_guard);
    s_texts.emplace_back(query, length);
  }
  return __real_mysql_stmt_prepare(stmt, query, length);
}

int __wrap_mysql_stmt_execute(MYSQL_STMT *stmt) {
  note("execute", stmt->mysql);
  return __real_mysql_stmt_execute(stmt);
}

int __wrap_mysql_stmt_store_result(MYSQL_STMT *stmt) {
  note("store_result", stmt->mysql);
  return __real_mysql_stmt_store_result(stmt);
}

int __wrap_mysql_stmt_fetch(MYSQL_STMT *stmt) {
  note("fetch", stmt->mysql);
  return __real_mysql_stmt_fetch(stmt);
}

int __wrap_mysql_stmt_fetch_column(MYSQL_STMT *stmt, MYSQL_BIND *bind, unsigned int column, unsigned long offset) {
  note("fetch_column", stmt->mysql);
  return __real_mysql_stmt_fetch_column(stmt, bind, column, offset);
}

my_bool __wrap_mysql_stmt_close(MYSQL_STMT *stmt) {
  note("close", stmt->mysql);
  return __real_mysql_stmt_close(stmt);
}
}
// NOLINTEND(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)

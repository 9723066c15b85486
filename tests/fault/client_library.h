// A scripted stand-in for the database client library: every function of it that the library calls, and no other. It
// is linked in place of the real one, for what a real server can't be made to do.
//
//   client().script.commit = 1;                      // what calls give, until it is set anew
//   client().statement("SELECT").execute = 2006;
//   ...
//   EXPECT_EQ(client().calls(), (Calls{"lock handle", "mysql_commit", "mysql_autocommit 1", "unlock handle"}));
//
// It keeps no rules of its own but these, and ends the process when one is broken: a connection is used from its
// mysql_init() to its mysql_close(), a statement until it is closed, a result until it is freed, each of them released
// once.
#pragma once

#include <mysql.h>

#include <deque>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

using Calls = std::vector<std::string>;

struct ScriptedColumn {
  const char *name;
  enum_field_types type;
};

// Texts of the columns; null is SQL NULL.
using ScriptedRow = std::vector<const char *>;

// What the statements that begin with one word do. Numbers are what the call returns, and other than 0 a failure.
struct StatementScript {
  int prepare = 0;
  std::optional<unsigned long> parameterCount;  // otherwise one for each question mark
  my_bool bindParam = 0;
  int execute = 0;
  bool hasMetadata = true;
  my_bool bindResult = 0;
  int storeResult = 0;
  std::deque<int> fetches;  // what fetching returns before it comes to the rows
  int fetchColumn = 0;
  unsigned long long affectedRows = 1;
  unsigned long long insertId = 0;
};

struct ClientScript {
  bool initFails = false;
  bool connectFails = false;
  int options = 0;
  int ping = 0;
  my_bool autocommit = 0;
  my_bool commit = 0;
  my_bool rollback = 0;
  bool statusIsUnknown = false;
  int realQuery = 0;
  bool storesResult = false;  // of a text query
  const char *error = "";
  unsigned int errorNumber = 0;
  unsigned long long affectedRows = 0;
  unsigned long long insertId = 0;

  int failingStatementInit = 0;  // which mysql_stmt_init() from now on gives null, the first being 1; 0: none
  const char *statementError = "";

  // Of results of both kinds.
  std::vector<ScriptedColumn> columns;
  std::vector<ScriptedRow> rows;
  bool hasFieldList = true;
  bool hasFields = true;
};

// A copy of one MYSQL_BIND as it was handed over, and the bytes that a parameter pointed at.
struct Bound {
  MYSQL_BIND bind;
  std::string bytes;
};

class ClientLibrary {
 public:
  ClientScript script;
  StatementScript &statement(const std::string &firstWord) { return statements_[firstWord]; }

  // The functions called so far, with what they were told, and the locks taken in between: "lock handle", "lock open",
  // "read-lock registry", "unlock registry" and so on.
  const Calls &calls() const { return calls_; }
  // Those of one function alone.
  Calls calls(const std::string &function) const;
  std::size_t count(const std::string &function) const { return calls(function).size(); }
  void forgetCalls() { calls_.clear(); }
  void note(const std::string &call);

  Calls executed;                     // texts of the statements that were executed
  std::vector<Bound> boundParams;     // of the last mysql_stmt_bind_param()
  std::vector<Bound> boundColumns;    // of the last mysql_stmt_bind_result()
  std::vector<Bound> fetchedColumns;  // of every mysql_stmt_fetch_column()

  // What has been opened and not yet released, by kind.
  struct Connection {
    unsigned int serverStatus = SERVER_STATUS_AUTOCOMMIT;
  };
  std::map<const MYSQL *, Connection> connections;
  std::set<const MYSQL_STMT *> openStatements;
  std::set<const MYSQL_RES *> openResults;

 private:
  std::map<std::string, StatementScript> statements_;
  Calls calls_;
};

ClientLibrary &client();

// From now on this thread's calls are noted. Those of other threads are not.
void watchThisThread();
bool isWatchedThread();

// Ends the process: the library under test has broken a rule of the client library.
[[noreturn]] void ruleBroken(const std::string &rule);

// The metadata of a statement, or the rows of a text query.
MYSQL_RES *makeResult();

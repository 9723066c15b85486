#include "fault/proxy/conversation.h"

#include "core/transaction.h"
#include "support/handle.h"
#include "support/params.h"

namespace {

constexpr int kRows = 1000;

std::string text(int number) { return std::to_string(number); }

bool hasRow(AdminConnection &admin, const std::string &condition) {
  return admin.value("SELECT COUNT(*) FROM " + condition) == "1";
}

Outcome written(int status) {
  Outcome outcome{status};
  outcome.leastAnnouncements = outcome.mostAnnouncements = status == ORV_DB_OK ? 1 : 0;
  return outcome;
}

Outcome insert(_orv_db_handle_t *handle, RunNumber run) { return written(insertInto(handle, "t", run)); }

bool isInserted(AdminConnection &admin, RunNumber run) { return hasRow(admin, "t WHERE value = " + text(run)); }

Outcome update(_orv_db_handle_t *handle, RunNumber run) {
  const ContentValues values(orv_db_get_content_values());
  orv_db_content_put_int(values.get(), "value", run);
  const _orv_db_param_t id = intParam(run);
  unsigned long long affected = 0;
  const int status = orv_db_update(handle, "changed", values.get(), "_id = ?", &id, 1, &affected);
  Outcome outcome = written(status);
  outcome.isWhole = status != ORV_DB_OK || affected == 1;
  return outcome;
}

bool isUpdated(AdminConnection &admin, RunNumber run) {
  return hasRow(admin, "changed WHERE _id = " + text(run) + " AND value = " + text(run));
}

// Each row has its number, and a text that is made from it.
bool isWhole(ResultSetInfo *rows) {
  if (orv_db_result_row_count(rows) != kRows) return false;
  for (int row = 1; row <= kRows; ++row) {
    int number = 0;
    char value[32] = "";
    if (orv_db_result_step(rows) != ORV_DB_ROW || orv_db_result_column_int(rows, 0, &number) != ORV_DB_OK ||
        orv_db_result_column_text(rows, 1, value, sizeof value) != ORV_DB_OK || number != row ||
        value != "row " + text(row)) {
      return false;
    }
  }
  return orv_db_result_step(rows) == ORV_DB_DONE;
}

Outcome judged(unsigned int status, ResultSetInfo *rows) {
  const Result owned(rows);
  Outcome outcome{static_cast<int>(status)};
  outcome.isWhole = status == ORV_DB_OK ? rows != nullptr && isWhole(rows) : rows == nullptr;
  return outcome;
}

Outcome query(_orv_db_handle_t *handle, RunNumber) {
  ResultSetInfo *rows = nullptr;
  const unsigned int status = orv_db_query(handle, "thousand", nullptr, 0, nullptr, nullptr, 0, "_id", &rows);
  return judged(status, rows);
}

Outcome rawQuery(_orv_db_handle_t *handle, RunNumber) {
  const std::string sql = "SELECT * FROM thousand ORDER BY _id";
  ResultSetInfo *rows = nullptr;
  const unsigned int status = orv_db_raw_query(handle, sql.data(), sql.size(), &rows);
  return judged(status, rows);
}

// An insert that fails says so by its own status. On a connection that was re-established inside the transaction it is
// announced at once, and not by the commit. A connection that breaks behind the commit, before auto-commit is on again,
// leaves the table pending: the handle's next commit announces it.
Outcome commit(_orv_db_handle_t *handle, RunNumber run) {
  orv_db_begin_transaction(handle);
  const bool hasWritten = insertInto(handle, "t", run) == ORV_DB_OK;
  Outcome outcome{orv_db_commit_transaction(handle)};
  outcome.hasWritten = hasWritten;
  outcome.leastAnnouncements = hasWritten && outcome.status == ORV_DB_OK && is_autocommit(handle) ? 1 : 0;
  outcome.mostAnnouncements = hasWritten ? 1 : 0;
  return outcome;
}

}  // namespace

std::ostream &operator<<(std::ostream &out, const Conversation &conversation) { return out << conversation.name; }

int insertInto(_orv_db_handle_t *handle, const char *table, RunNumber run) {
  const ContentValues values(orv_db_get_content_values());
  orv_db_content_put_int(values.get(), "value", run);
  return orv_db_insert(handle, table, values.get(), nullptr, nullptr);
}

// Row ids that always take as many bytes, too.
void createTables(AdminConnection &admin, int runs) {
  for (const char *table : {"t", "afterwards"}) {
    admin.query(std::string("CREATE TABLE ") + table +
                " (_id INT AUTO_INCREMENT PRIMARY KEY, value INT, KEY (value)) AUTO_INCREMENT = 1000000");
  }
  admin.query("CREATE TABLE changed (_id INT PRIMARY KEY, value INT)");
  admin.query("INSERT INTO changed SELECT seq, 0 FROM seq_" + text(kFirstRun) + "_to_" + text(kFirstRun + runs));
  admin.query("CREATE TABLE thousand (_id INT PRIMARY KEY, value VARCHAR(30))");
  admin.query("INSERT INTO thousand SELECT seq, CONCAT('row ', seq) FROM seq_1_to_" + text(kRows));
}

const std::vector<Conversation> &conversations() {
  // The client library's calls that fail return no error number; only the reading of a text query's rows has one.
  const std::set<int> ofWrites{ORV_DB_ERROR};
  static const std::vector<Conversation> all = {
      {"Insert", insert, ofWrites, isInserted},
      {"Update", update, ofWrites, isUpdated},
      {"Query", query, {ORV_DB_ERROR}, nullptr},
      {"RawQuery", rawQuery, {ORV_DB_ERROR, ORV_DB_LOST}, nullptr},
      {"Commit", commit, {ORV_DB_COMMIT_FAILED}, isInserted},
  };
  return all;
}

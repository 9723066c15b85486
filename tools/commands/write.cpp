#include "commands/write.h"

#include "changes/changes.h"
#include "commands/content.h"
#include "exit_status.h"
#include "statuses.h"

namespace {

constexpr std::size_t kUpdateTextLimit = 4095;  // the library ends the process on a longer one

void checkStatus(int status) {
  if (status != ORV_DB_OK) throw Failure(statementProblem(static_cast<unsigned int>(status)));
}

// What is written here is to be heard of, too.
void checkNames(const WriteOptions &options) {
  checkName("database", options.connection.database);
  checkName("table", options.table);
}

void checkRowsAreNamed(const WriteOptions &options) {
  if (options.where.empty() && !options.isForAllRows) {
    throw WrongUsage("which rows? Name them by --where, or ask for all of them by --all");
  }
}

void checkUpdateText(const WriteOptions &options, std::size_t contentBytes) {
  const std::size_t words = std::string_view("UPDATE  SET  WHERE ").size();
  if (words + options.table.size() + contentBytes + options.where.size() > kUpdateTextLimit) {
    throw Failure("table, columns and --where are too long for one update, which has 4095 bytes");
  }
}

// They point into the options.
std::vector<_orv_db_param_t> paramsOf(const WriteOptions &options) {
  std::vector<_orv_db_param_t> params;
  for (const std::string &text : options.params) {
    _orv_db_param_t &param = params.emplace_back();
    param.type = ORV_DB_TYPE_TEXT;
    param.length = text.size();
    param.value.data = text.data();
  }
  return params;
}

const char *whereOf(const WriteOptions &options) { return options.where.empty() ? nullptr : options.where.c_str(); }

}  // namespace

int insertRow(const WriteOptions &options) {
  checkNames(options);
  const Content content = readContent(options);
  const Handle handle = connect(options.connection);
  Outcome outcome{};
  checkStatus(orv_db_insert(handle.get(), options.table.c_str(), content.values.get(), &outcome.affectedRows,
                            &outcome.insertId));
  printOutcome(outcome, options.format);
  return kDone;
}

int updateRows(const WriteOptions &options) {
  checkNames(options);
  checkRowsAreNamed(options);
  const Content content = readContent(options);
  checkUpdateText(options, content.textBytes);
  const std::vector<_orv_db_param_t> params = paramsOf(options);
  const Handle handle = connect(options.connection);
  Outcome outcome{};
  checkStatus(orv_db_update(handle.get(), options.table.c_str(), content.values.get(), whereOf(options), params.data(),
                            static_cast<int>(params.size()), &outcome.affectedRows));
  printOutcome(outcome, options.format);
  return kDone;
}

int deleteRows(const WriteOptions &options) {
  checkNames(options);
  checkRowsAreNamed(options);
  const std::vector<_orv_db_param_t> params = paramsOf(options);
  const Handle handle = connect(options.connection);
  Outcome outcome{};
  checkStatus(orv_db_delete(handle.get(), options.table.c_str(), whereOf(options), params.data(),
                            static_cast<int>(params.size()), &outcome.affectedRows));
  printOutcome(outcome, options.format);
  return kDone;
}

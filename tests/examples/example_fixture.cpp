#include "examples/example_fixture.h"

#include <signal.h>
#include <stdlib.h>

#include <regex>
#include <sstream>
#include <stdexcept>

#include "support/wait.h"

ExampleTest::ExampleTest() {
  setenv("MYSQL_PWD", password(), 1);
  setenv("MYSQL_TCP_PORT", std::to_string(port()).c_str(), 1);
#ifdef ORVDB_LIBRARY_FOLDER
  setenv("LD_LIBRARY_PATH", ORVDB_LIBRARY_FOLDER, 1);  // for Python
#endif
  std::istringstream statements(std::regex_replace(readFile(ORVDB_TABLES_SQL), std::regex("--.*"), ""));
  for (std::string statement; std::getline(statements, statement, ';');) {
    if (statement.find_first_not_of(" \n") != std::string::npos) admin().query(statement);
  }
}

void ExampleTest::startServer(const Words &options) {
  Words command{ORVDB_SERVER_PROGRAM, "--status", statusPath()};
  command.insert(command.end(), options.begin(), options.end());
  server_.reset();
  server_.emplace(command, nextFile());
  server_->waitForOutput("listening on");
}

void ExampleTest::killServer() {
  server_->signal(SIGKILL);
  server_->waitForExit();
}

bool ExampleTest::waitForRegistrations(std::size_t count) const {
  return waitUntil([&] { return registrations() == count; });
}

Program ExampleTest::start(const std::string &example, const Words &arguments) {
  Words command{example, host(), user(), db()};
  command.insert(command.end(), arguments.begin(), arguments.end());
  return {command, nextFile()};
}

int ExampleTest::run(const std::string &example, const Words &arguments) {
  Program program = start(example, arguments);
  const int status = program.waitForExit(2 * kPatience);
  if (status != 0) std::printf("%s", program.output().c_str());
  return status;
}

const Handle &ExampleTest::handle() {
  if (!handle_) handle_ = openHandle(*this);
  if (!handle_) throw std::runtime_error(orv_db_get_error_str());
  // Where no server was there yet, or it has been restarted.
  if (!waitUntil([&] { return orv_db_notify_change(db(), "nothing", ORV_DB_ACTION_ALL, 0) == ORV_DB_OK; })) {
    throw std::runtime_error("there is no notification server");
  }
  return handle_;
}

void ExampleTest::insert(const std::string &table, const ContentValues &row) {
  const int status = orv_db_insert(handle().get(), table.c_str(), row.get(), nullptr, nullptr);
  if (status != ORV_DB_OK) throw std::runtime_error(orv_db_get_error_str());
}

bool ExampleTest::waitForValue(const std::string &sql, const std::string &value) {
  return waitUntil([&] { return admin().value(sql) == value; });
}

ContentValues rowOf(const std::vector<std::pair<std::string, std::string>> &values) {
  ContentValues row(orv_db_get_content_values());
  for (const auto &[column, value] : values)
    orv_db_content_put_text(row.get(), column.c_str(), value.c_str());
  return row;
}

Words linesOf(const Program &program, const std::string &beginning) {
  std::istringstream output(program.output());
  Words lines;
  for (std::string line; std::getline(output, line);) {
    if (line.compare(0, beginning.size(), beginning) == 0) lines.push_back(line.substr(beginning.size()));
  }
  return lines;
}

#include "support/database.h"

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <stdexcept>

#include "support/wait.h"

namespace {

std::map<std::string, std::string> readAssignments(const std::filesystem::path &path) {
  std::ifstream file(path);
  if (!file) throw std::runtime_error("no database server runs for the tests: cannot read " + path.string());
  std::map<std::string, std::string> values;
  for (std::string line; std::getline(file, line);) {
    const std::size_t sign = line.find('=');
    values[line.substr(0, sign)] = line.substr(sign + 1);
  }
  return values;
}

std::string newDatabaseName() {
  static int count = 0;
  return "orv_test_" + std::to_string(getpid()) + "_" + std::to_string(++count);
}

[[noreturn]] void failWith(MYSQL *connection, const std::string &what) {
  throw std::runtime_error(what + ": " + mysql_error(connection));
}

}  // namespace

DatabaseServer databaseServer() {
  const char *path = std::getenv("ORVDB_TEST_MARIADB");
  if (path == nullptr) throw std::runtime_error("ORVDB_TEST_MARIADB does not name a server: run the tests with ctest");
  const auto values = readAssignments(path);
  const std::filesystem::path folder = std::filesystem::path(path).parent_path();
  return {values.at("HOST"),   static_cast<unsigned int>(std::stoul(values.at("PORT"))),
          values.at("USER"),   values.at("PASSWORD"),
          values.at("SOCKET"), folder / "certificate.pem"};
}

AdminConnection::AdminConnection(const DatabaseServer &server, const std::string &db)
    : connection_(mysql_init(nullptr)) {
  mysql_options(get(), MYSQL_SET_CHARSET_NAME, "utf8mb4");
  if (mysql_real_connect(get(), server.host.c_str(), server.user.c_str(), server.password.c_str(),
                         db.empty() ? nullptr : db.c_str(), server.port, nullptr, 0) == nullptr) {
    failWith(get(), "connect");
  }
}

std::vector<Row> AdminConnection::query(const std::string &sql) {
  if (mysql_real_query(get(), sql.data(), sql.size()) != 0) failWith(get(), sql);
  const std::unique_ptr<MYSQL_RES, void (*)(MYSQL_RES *)> result(mysql_store_result(get()), mysql_free_result);
  if (result == nullptr) {
    if (mysql_errno(get()) != 0) failWith(get(), sql);
    return {};
  }
  std::vector<Row> rows;
  while (MYSQL_ROW fields = mysql_fetch_row(result.get())) {
    const unsigned long *lengths = mysql_fetch_lengths(result.get());
    Row &row = rows.emplace_back();
    for (unsigned int i = 0; i < mysql_num_fields(result.get()); ++i) {
      row.push_back(fields[i] == nullptr ? std::nullopt : std::make_optional<std::string>(fields[i], lengths[i]));
    }
  }
  return rows;
}

std::string AdminConnection::value(const std::string &sql) { return query(sql).at(0).at(0).value(); }

// The process id makes the name unique among the tests that share the server; "OR REPLACE" is for what a test that
// crashed has left.
DatabaseTest::DatabaseTest() : server_(databaseServer()), admin_(server_), db_(newDatabaseName()) {
  admin_.query("CREATE OR REPLACE DATABASE " + db_ + " CHARACTER SET utf8mb4");
  admin_.query("USE " + db_);
}

DatabaseTest::~DatabaseTest() { EXPECT_NO_THROW(admin_.query("DROP DATABASE " + db_)); }

std::vector<unsigned long> DatabaseTest::connectionIds() {
  std::vector<unsigned long> ids;
  for (const Row &row : admin_.query("SELECT id FROM information_schema.processlist WHERE db = '" + db_ +
                                     "' AND id <> CONNECTION_ID() ORDER BY id")) {
    ids.push_back(std::stoul(row.at(0).value()));
  }
  return ids;
}

// One that has ended by itself meanwhile is gone as well.
void DatabaseTest::killConnection(unsigned long id) {
  try {
    admin_.query("KILL CONNECTION " + std::to_string(id));
  } catch (const std::runtime_error &error) {
    if (std::string(error.what()).find("Unknown thread id") == std::string::npos) throw;
  }
}

void DatabaseTest::killConnections() {
  for (const unsigned long id : connectionIds())
    killConnection(id);
  if (!waitUntil([&] { return connectionIds().empty(); })) throw std::runtime_error("a connection survives its end");
}

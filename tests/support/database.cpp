#include "support/database.h"

#include <unistd.h>

#include <cstdlib>
#include <stdexcept>

#include "support/wait.h"

namespace {

std::string newDatabaseName() {
  static int count = 0;
  return "orv_test_" + std::to_string(getpid()) + "_" + std::to_string(++count);
}

}  // namespace

DatabaseServer databaseServer() {
  const char *path = std::getenv("ORVDB_TEST_MARIADB");
  if (path == nullptr) throw std::runtime_error("ORVDB_TEST_MARIADB does not name a server: run the tests with ctest");
  return databaseServer(path);
}

// The process id makes the name unique among the tests that share the server; a test that crashed may have
// left one of it all the same.
DatabaseTest::DatabaseTest() : server_(databaseServer()), admin_(server_), db_(newDatabaseName()) {
  admin_.makeDatabase(db_);
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

// Loads a file into the table `readings` in transactions of 500 rows. Other processes hear of each transaction once,
// when it is committed, not of each row.
//
//   MYSQL_PWD=... batch_load HOST USER DATABASE FILE      with lines such as "kitchen 21.5"
//
// Whatever interrupts it, run it again with the same arguments: each row is then in the table exactly once.
//  - A batch has a name, made of the file's and of its first line, and one that is there already is left out. So give
//    each file a name of its own.
//  - It takes no signals. When it ends, for whatever reason, the server rolls back what has not been committed.
//  - A call that fails ends it, too: whether a commit that failed was done shows when it is run again.
//  - A connection that is lost takes with it what was written, and may be replaced without a sign: on the new one the
//    rest would be stored row by row. So its number is compared before the commit.
#include <cstdio>
#include <fstream>
#include <sstream>
#include <vector>

#include "orvdb_owners.h"

namespace {

constexpr std::size_t kRowsOfABatch = 500;

struct Reading {
  std::string sensor;
  double value;
};
using Batch = std::vector<Reading>;

std::size_t countRows(const Handle &database, const std::string &name) {
  const char *columns[] = {"COUNT(*)"};
  const _orv_db_param_t batch = textParam(name);
  ResultSetInfo *found = nullptr;
  check(orv_db_query(database.get(), "readings", columns, 1, "batch=?", &batch, 1, nullptr, &found), "count rows");
  const Result count(found);
  return step(count) ? static_cast<std::size_t>(integerColumn(count, 0)) : 0;
}

long long connectionNumber(const Handle &database) {
  const Result number = rawQuery(database, "SELECT CONNECTION_ID()");
  return step(number) ? integerColumn(number, 0) : 0;
}

void write(const Handle &database, const std::string &name, const Batch &batch, bool isPartlyThere) {
  check(orv_db_begin_transaction(database.get()), "begin");
  const long long connection = connectionNumber(database);
  const _orv_db_param_t rest = textParam(name);
  if (isPartlyThere) check(orv_db_delete(database.get(), "readings", "batch=?", &rest, 1, nullptr), "delete");
  const Values row = newValues();
  orv_db_content_put_text(row.get(), "batch", name.c_str());
  for (const Reading &reading : batch) {
    orv_db_content_put_text(row.get(), "sensor", reading.sensor.c_str());
    orv_db_content_put_double(row.get(), "value", reading.value);
    check(orv_db_insert(database.get(), "readings", row.get(), nullptr, nullptr), "insert");
  }
  if (connectionNumber(database) != connection) throw std::runtime_error("the connection was lost");
  check(orv_db_commit_transaction(database.get()), "commit");
}

void store(const Handle &database, const std::string &name, const Batch &batch) {
  const std::size_t stored = countRows(database, name);
  if (stored != batch.size()) write(database, name, batch, stored > 0);
}

// The next rows of the file; none at its end.
Batch read(std::istream &file, std::size_t &line) {
  Batch batch;
  for (std::string text; batch.size() < kRowsOfABatch && std::getline(file, text); ++line) {
    Reading reading{};
    if (!(std::istringstream(text) >> reading.sensor >> reading.value))
      throw std::runtime_error("line " + std::to_string(line + 1) + " is no reading");
    batch.push_back(reading);
  }
  if (file.bad()) throw std::runtime_error("the file cannot be read to its end");
  return batch;
}

}  // namespace

int main(int argc, char **argv) try {
  if (argc != 5) return std::fputs("Usage: batch_load HOST USER DATABASE FILE\n", stderr), 2;
  std::ifstream file(argv[4]);
  if (!file) throw std::runtime_error(std::string("cannot read ") + argv[4]);
  const Handle database = openDatabase(argv[1], argv[2], argv[3]);
  std::size_t line = 0;
  for (std::size_t first = 1;; first = line + 1) {
    const Batch batch = read(file, line);
    if (batch.empty()) break;
    store(database, argv[4] + (" from line " + std::to_string(first)), batch);
  }
  std::printf("%zu rows\n", line);
  return 0;
} catch (const std::exception &error) {
  return std::fprintf(stderr, "batch_load: %s\n", error.what()), 1;
}

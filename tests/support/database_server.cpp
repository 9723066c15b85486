#include "support/database_server.h"

#include <fstream>
#include <map>
#include <stdexcept>

namespace {

std::map<std::string, std::string> readAssignments(const std::filesystem::path &path) {
  std::ifstream file(path);
  if (!file) throw std::runtime_error("no database server runs: cannot read " + path.string());
  std::map<std::string, std::string> values;
  for (std::string line; std::getline(file, line);) {
    const std::size_t sign = line.find('=');
    values[line.substr(0, sign)] = line.substr(sign + 1);
  }
  return values;
}

[[noreturn]] void failWith(MYSQL *connection, const std::string &what) {
  throw std::runtime_error(what + ": " + mysql_error(connection));
}

}  // namespace

DatabaseServer databaseServer(const std::filesystem::path &connectionFile) {
  const auto values = readAssignments(connectionFile);
  return {values.at("HOST"),          static_cast<unsigned int>(std::stoul(values.at("PORT"))),
          values.at("USER"),          values.at("PASSWORD"),
          values.at("SOCKET"),        connectionFile.parent_path() / "certificate.pem",
          std::stoi(values.at("PID"))};
}

AdminConnection::AdminConnection(const DatabaseServer &server, const std::string &db)
    : connection_(mysql_init(nullptr)) {
  mysql_options(get(), MYSQL_SET_CHARSET_NAME, "utf8mb4");
  if (mysql_real_connect(get(), server.host.c_str(), server.user.c_str(), server.password.c_str(),
                         db.empty() ? nullptr : db.c_str(), server.port, nullptr, 0) == nullptr) {
    failWith(get(), "connect");
  }
}

void AdminConnection::makeDatabase(const std::string &db) {
  query("CREATE OR REPLACE DATABASE " + db + " CHARACTER SET utf8mb4");
  query("USE " + db);
}

std::vector<AdminConnection::Row> AdminConnection::query(const std::string &sql) {
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

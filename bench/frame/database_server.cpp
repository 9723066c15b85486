#include "frame/database_server.h"

#include <fstream>
#include <map>
#include <stdexcept>

DatabaseServer databaseServer(const std::string &connectionFile) {
  std::ifstream file(connectionFile);
  if (!file) throw std::runtime_error("no database server: cannot read '" + connectionFile + "'");
  std::map<std::string, std::string> values;
  for (std::string line; std::getline(file, line);) {
    const std::size_t sign = line.find('=');
    values[line.substr(0, sign)] = line.substr(sign + 1);
  }
  return {values.at("HOST"), static_cast<unsigned int>(std::stoul(values.at("PORT"))), values.at("USER"),
          values.at("PASSWORD"), std::stoi(values.at("PID"))};
}

AdminConnection::AdminConnection(const DatabaseServer &server, const std::string &db)
    : m_connection(mysql_init(nullptr)) {
  if (mysql_real_connect(m_connection.get(), server.host.c_str(), server.user.c_str(), server.password.c_str(), nullptr,
                         server.port, nullptr, 0) == nullptr) {
    throw std::runtime_error(mysql_error(m_connection.get()));
  }
  run("CREATE OR REPLACE DATABASE " + db + " CHARACTER SET utf8mb4");
  run("USE " + db);
}

void AdminConnection::run(const std::string &sql) {
  if (mysql_real_query(m_connection.get(), sql.data(), sql.size()) != 0) {
    throw std::runtime_error(sql + ": " + mysql_error(m_connection.get()));
  }
  mysql_free_result(mysql_store_result(m_connection.get()));
}

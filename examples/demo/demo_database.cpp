#include "demo_database.h"

#include <fstream>
#include <map>

namespace {

using Settings = std::map<std::string, std::string>;

Settings readSettings(const std::string &path) {
  std::ifstream file(path);
  Settings settings;
  for (std::string line; std::getline(file, line);) {
    const std::size_t equals = line.find('=');
    if (equals != std::string::npos) settings[line.substr(0, equals)] = line.substr(equals + 1);
  }
  if (settings.count("HOST") == 0 || settings.count("PORT") == 0) throw std::runtime_error(path + ": no HOST and PORT");
  return settings;
}

}  // namespace

Handle openDatabase(const std::string &connectionFile, const std::string &database) {
  Settings server = readSettings(connectionFile);
  Handle handle(orv_db_open(server["HOST"].c_str(), server["USER"].c_str(), server["PASSWORD"].c_str(),
                            database.c_str(), static_cast<unsigned int>(std::stoul(server["PORT"]))));
  if (!handle) throw std::runtime_error("open " + database + ": " + orv_db_get_error_str());
  rawQuery(handle, "SET NAMES utf8mb4");
  return handle;
}

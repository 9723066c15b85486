#include "machine.h"

#include <mysql.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <array>
#include <ctime>
#include <fstream>

namespace {

std::string processorName() {
  std::ifstream file("/proc/cpuinfo");
  for (std::string line; std::getline(file, line);) {
    if (line.rfind("model name", 0) == 0) return line.substr(line.find(':') + 2);
  }
  return "unknown processor";
}

std::string today() {
  const std::time_t now = std::time(nullptr);
  std::array<char, 32> text;
  std::tm parts{};
  std::strftime(text.data(), text.size(), "%Y-%m-%d", gmtime_r(&now, &parts));
  return text.data();
}

}  // namespace

std::string describeMachine() {
  utsname system{};
  uname(&system);
  return processorName() + ", " + std::to_string(sysconf(_SC_NPROCESSORS_ONLN)) + " processors; Linux " +
         system.release + ", " + system.machine + "; client library " + mysql_get_client_info() + "; " + today();
}

#include "machine.h"

#include <mysql.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>
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

// Of the last five minutes: what else went on meanwhile.
std::string load() {
  std::array<double, 2> averages{};
  if (getloadavg(averages.data(), 2) != 2) return "unknown";
  std::array<char, 32> text;
  std::snprintf(text.data(), text.size(), "%.1f", averages[1]);
  return text.data();
}

}  // namespace

std::vector<std::string> describeMachine() {
  utsname system{};
  uname(&system);
  return {processorName() + ", " + std::to_string(sysconf(_SC_NPROCESSORS_ONLN)) + " processors",
          std::string("Linux ") + system.release + ", " + system.machine,
          std::string("client library ") + mysql_get_client_info(),
          today() + ", with a load average of five minutes at the end of " + load()};
}

#include "instructions.h"

#include <valgrind/callgrind.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>
#include <stdexcept>

#include "support/temporary_folder.h"

namespace {

constexpr char kOption[] = "--counted";
constexpr int kWords = 4;
constexpr std::size_t kTimes = 500;

const std::string kDescription = "desc: Trigger: Client Request: ";
const std::string kTotal = "totals: ";

void count(const Repeat &work, const std::string &name) {
  work(kTimes);  // what is done once
  CALLGRIND_ZERO_STATS;
  work(kTimes);
  CALLGRIND_DUMP_STATS_AT(name.c_str());
}

// By the names that count() has given. What callgrind writes at the end of the program has none.
std::map<std::string, double> readTotals(const std::filesystem::path &folder) {
  std::map<std::string, double> totals;
  for (const auto &entry : std::filesystem::directory_iterator(folder)) {
    std::ifstream file(entry.path());
    std::string name;
    for (std::string line; std::getline(file, line);) {
      if (line.rfind(kDescription, 0) == 0) name = line.substr(kDescription.size());
      if (line.rfind(kTotal, 0) == 0) totals[name] = std::stod(line.substr(kTotal.size())) / kTimes;
    }
  }
  return totals;
}

std::string nameOf(const char *side, std::size_t work) { return side + std::to_string(work); }

}  // namespace

std::vector<Instructions> countInstructions(const std::string &connectionFile, const std::string &db,
                                            std::size_t workCount) {
  const TemporaryFolder folder;
  outputOf({"valgrind", "--quiet", "--tool=callgrind", "--callgrind-out-file=" + (folder.path() / "counts").string(),
            std::filesystem::read_symlink("/proc/self/exe"), kOption, connectionFile, db});
  const std::map<std::string, double> totals = readTotals(folder.path());
  std::vector<Instructions> counted;
  for (std::size_t i = 0; i < workCount; ++i)
    counted.push_back({totals.at(nameOf("library", i)), totals.at(nameOf("reference", i))});
  return counted;
}

bool isCountedProgram(int argc, char **argv) { return argc == kWords && std::strcmp(argv[1], kOption) == 0; }

// --counted CONNECTION DB
int runCounted(char **argv) try {
  Surroundings surroundings(databaseServer(argv[2]), argv[3]);
  const std::vector<Work> works = Works(surroundings).all();
  for (std::size_t i = 0; i < works.size(); ++i) {
    count(works[i].library, nameOf("library", i));
    count(works[i].reference, nameOf("reference", i));
  }
  return 0;
} catch (const std::exception &problem) {
  std::cerr << problem.what() << '\n';
  return 1;
}

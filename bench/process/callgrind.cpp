#include "callgrind.h"

#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "frame/child_process.h"
#include "support/temporary_folder.h"

namespace {

const std::string kTotal = "totals: ";

double readTotal(const std::filesystem::path &path) {
  std::ifstream file(path);
  for (std::string line; std::getline(file, line);) {
    if (line.rfind(kTotal, 0) == 0) return std::stod(line.substr(kTotal.size()));
  }
  throw std::runtime_error("callgrind has not told what it counted");
}

}  // namespace

// Each part has a file with its number.
std::vector<double> countByCallgrind(const std::vector<std::string> &command) {
  const TemporaryFolder folder;
  const std::string file = folder.path() / "counts";
  std::vector<std::string> words{"valgrind",
                                 "--quiet",
                                 "--tool=callgrind",
                                 "--callgrind-out-file=" + file,
                                 "--zero-before=count_begins",
                                 "--dump-before=count_ends"};
  words.insert(words.end(), command.begin(), command.end());
  outputOf(words);
  std::vector<double> counts;
  for (std::filesystem::path part; exists(part = file + '.' + std::to_string(counts.size() + 1));)
    counts.push_back(readTotal(part));
  return counts;
}

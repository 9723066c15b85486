#include "emulator.h"

#include <sstream>
#include <stdexcept>

#include "frame/child_process.h"

namespace {

// A line tells of the thread, the first of which is number 0, and ends with the function's name if the program has it.
// Gives a number for each part, in which only the first thread counts, and last of all that of the whole program. What
// else is printed is the program's own complaint.
constexpr char kCountingScript[] = R"(
  set -o pipefail
  "$0" -one-insn-per-tb -d exec,nochain "$@" 2>&1 |
    awk '/^Trace / { ++all } /^Trace 0: / { ++part } / count_begins$/ { part = 0 } / count_ends$/ { print part }
         !/^Trace / { print > "/dev/stderr" } END { print all + 0 }')";

std::vector<double> countsOf(const std::vector<std::string> &command) {
  std::vector<std::string> words{"bash", "-c", kCountingScript, ARMHF_TOOLS "/run"};
  words.insert(words.end(), command.begin(), command.end());
  std::istringstream output(outputOf(words));
  std::vector<double> counts;
  for (double count = 0; output >> count;)
    counts.push_back(count);
  if (counts.empty() || counts.back() == 0)
    throw std::runtime_error("the emulator has not counted what " + command[0] + " does");
  return counts;
}

}  // namespace

std::vector<double> countByEmulator(const std::vector<std::string> &command) {
  std::vector<double> counts = countsOf(command);
  counts.pop_back();
  return counts;
}

double countWholly(const std::string &program) { return countsOf({program}).back(); }

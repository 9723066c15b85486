// 32-bit Arm: how large the library is, and how many instructions it takes there. An emulator's time says nothing about
// a device, but it executes the instructions that the device would.
#include <filesystem>
#include <sstream>
#include <stdexcept>

#include "counts.h"
#include "frame/bench.h"
#include "frame/child_process.h"
#include "support/temporary_folder.h"

namespace {

constexpr double kKiB = 1024;

// One line of the emulator's log per instruction. Gives those of each part that the program marks, and last of all
// those of the whole program.
constexpr char kCountingScript[] = R"(
  set -o pipefail
  "$1" -one-insn-per-tb -d exec,nochain "$2" 2>&1 |
    awk '/^Trace / { ++part; ++all } /^begin$/ { part = 0 } /^end$/ { print part } END { print all + 0 }')";

std::string built(const std::string &path) { return ARMHF_BUILD "/" + path; }

std::vector<double> instructionsOf(const std::string &program, std::size_t parts) {
  std::istringstream output(outputOf({"bash", "-c", kCountingScript, "bash", ARMHF_TOOLS "/run", built(program)}));
  std::vector<double> counts;
  for (double count = 0; output >> count;)
    counts.push_back(count);
  if (counts.size() != parts + 1 || counts.back() == 0)
    throw std::runtime_error("the emulator has not counted what " + program + " does");
  return counts;
}

double strippedSize(const std::string &library) {
  const TemporaryFolder folder;
  const std::string stripped = folder.path() / "stripped.so";
  outputOf({"arm-linux-gnueabihf-strip", "-o", stripped, library});
  return static_cast<double>(std::filesystem::file_size(stripped));
}

void measureSize(Bench &bench) {
  bench.record({"stripped library", "B", libraryAtMost(150 * kKiB), "the client library", {}},
               strippedSize(built("src/liborvdb_client.so")),
               strippedSize(ARMHF_TOOLS "/sysroot/usr/lib/arm-linux-gnueabihf/libmariadb.so.3"));
}

void countStart(Bench &bench) {
  const auto whole = [](const std::string &program) { return instructionsOf(program, 0).back(); };
  const double library = whole("bench/loads_library");
  bench.record({"process that only loads the library", "instructions", {}, "a C program with the client library", {}},
               library, whole("bench/loads_client"));
  bench.record(
      {"process that only loads the library, C++", "instructions", {}, "a C++ program with the client library", {}},
      library, whole("bench/loads_client_cpp"));
}

void countContainer(Bench &bench) {
  const std::vector<double> counts = instructionsOf("bench/armhf/container_counts", 2 * std::size(kContainerWorks));
  for (std::size_t i = 0; i < std::size(kContainerWorks); ++i)
    bench.record({kContainerWorks[i], "instructions", {}, "std::map", {}}, counts[2 * i] / kTimes,
                 counts[2 * i + 1] / kTimes);
}

}  // namespace

int main(int argc, char **argv) {
  return runBench("armhf", argc, argv, [](Bench &bench) {
    measureSize(bench);
    countStart(bench);
    countContainer(bench);
  });
}

// 32-bit Arm: how large the library is, and how many instructions it takes there. An emulator's time says nothing about
// a device, but it executes the instructions that the device would.
#include <filesystem>

#include "emulator.h"
#include "frame/child_process.h"
#include "frame/notification_server.h"
#include "process/instructions.h"
#include "support/temporary_folder.h"

namespace {

constexpr double kKiB = 1024;

std::string built(const std::string &path) { return ARMHF_BUILD "/" + path; }

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
  const double library = countWholly(built("bench/loads_library"));
  bench.record({"process that only loads the library", "instructions", {}, "a C program with the client library", {}},
               library, countWholly(built("bench/loads_client")));
  bench.record(
      {"process that only loads the library, C++", "instructions", {}, "a C++ program with the client library", {}},
      library, countWholly(built("bench/loads_client_cpp")));
}

// Here the works are only named.
void countWorks(Bench &bench) {
  const DatabaseServer server = databaseServer(bench.connectionFile());
  const NotificationServer notificationServer;
  makeDatabaseOfWorks(server);
  Surroundings surroundings(server);
  countInstructions(bench, Works(surroundings).all(), {built("bench/process/counted_works"), bench.connectionFile()},
                    20, countByEmulator);
}

}  // namespace

int main(int argc, char **argv) {
  return runBench("armhf", argc, argv, [](Bench &bench) {
    measureSize(bench);
    countStart(bench);
    countWorks(bench);
  });
}

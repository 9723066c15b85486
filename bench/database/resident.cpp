#include "resident.h"

#include <cstring>
#include <filesystem>
#include <iostream>

#include "frame/child_process.h"
#include "items/item_store.h"
#include "support/resident_memory.h"

namespace {

constexpr char kOption[] = "--resident";
constexpr int kWords = 7;

}  // namespace

bool isResidentProgram(int argc, char **argv) { return argc == kWords && std::strcmp(argv[1], kOption) == 0; }

// --resident library|reference statement|text CONNECTION DB ROWS
int printResident(char **argv) try {
  const std::string side = argv[2];
  const std::string protocol = argv[3];
  const DatabaseServer server = databaseServer(argv[4]);
  const auto store = side == "library" ? openWithLibrary(server, argv[5]) : openReference(server, argv[5], nullptr);
  const auto select = protocol == "text" ? &ItemStore::selectText : &ItemStore::select;
  (*store.*select)(1);  // what is made once
  const double before = residentBytes(getpid());
  const auto rows = (*store.*select)(std::stoull(argv[6]));
  std::cout << static_cast<long long>(residentBytes(getpid()) - before) << '\n';
  return 0;
} catch (const std::exception &problem) {
  std::cerr << problem.what() << '\n';
  return 1;
}

void measureResident(Bench &bench, const std::string &db, unsigned long long rows) {
  const std::string self = std::filesystem::read_symlink("/proc/self/exe");
  for (const std::string protocol : {"statement", "text"}) {
    const auto residentOf = [&](const std::string &side) {
      return [&, side] {
        return std::stod(outputOf({self, kOption, side, protocol, bench.connectionFile(), db, std::to_string(rows)}));
      };
    };
    bench.compareValues({"resident memory, result of 100,000 rows, " + protocol,
                         "B",
                         ratioAtMost(1.01),
                         "the same result, in a process of its own",
                         {}},
                        residentOf("library"), residentOf("reference"), 3);
  }
}

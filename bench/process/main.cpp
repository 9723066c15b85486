// Calls that stay inside the process: their time, their allocations and their instructions.
#include "allocations.h"
#include "callgrind.h"
#include "frame/notification_server.h"
#include "instructions.h"
#include "start_up.h"
#include "works.h"

namespace {

double allocationsOf(const Repeat &work) {
  constexpr std::size_t kTimes = 1000;
  const std::size_t before = allocations();
  work(kTimes);
  return static_cast<double>(allocations() - before) / kTimes;
}

void measureWorks(Bench &bench, const std::vector<Work> &works) {
  for (const Work &work : works)
    bench.compare({work.name, "s", {}, work.referenceIs, {}}, work.library, work.reference);
  for (const Work &work : works)
    bench.record({work.name, "allocations", work.allocations, work.referenceIs, {}}, allocationsOf(work.library),
                 allocationsOf(work.reference));
}

}  // namespace

int main(int argc, char **argv) {
  return runBench("process", argc, argv, [](Bench &bench) {
    const DatabaseServer server = databaseServer(bench.connectionFile());
    pinProcess(server.pid, Role::kDatabase);
    const NotificationServer notificationServer;
    makeDatabaseOfWorks(server);
    Surroundings surroundings(server);
    const Works works(surroundings);
    measureWorks(bench, works.timed);
    countInstructions(bench, works.all(), {COUNTED_WORKS, bench.connectionFile()}, 500, countByCallgrind);
    measureStartUp(bench);
  });
}

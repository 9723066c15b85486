// Calls that stay inside the process: their time, their allocations and their instructions.
#include <stdexcept>

#include "allocations.h"
#include "frame/notification_server.h"
#include "instructions.h"
#include "items/tables.h"
#include "start_up.h"
#include "works.h"

namespace {

constexpr char kDb[] = "orv_bench_process";

double allocationsOf(const Repeat &work) {
  constexpr std::size_t kTimes = 1000;
  const std::size_t before = allocations();
  work(kTimes);
  return static_cast<double>(allocations() - before) / kTimes;
}

Handle openHandle(const DatabaseServer &server, const std::string &db) {
  Handle handle(
      orv_db_open(server.host.c_str(), server.user.c_str(), server.password.c_str(), db.c_str(), server.port));
  if (handle == nullptr) throw std::runtime_error(orv_db_get_error_str());
  return handle;
}

void countInstructionsOf(Bench &bench, const std::vector<Work> &works) {
  const std::vector<Instructions> counted = countInstructions(bench.connectionFile(), kDb, works.size());
  for (std::size_t i = 0; i < works.size(); ++i)
    bench.record({works[i].name, "instructions", {}, works[i].referenceIs, {}}, counted[i].library,
                 counted[i].reference);
}

void measureAll(Bench &bench, const Works &works) {
  for (const Work &work : works.timed)
    bench.compare({work.name, "s", {}, work.referenceIs, {}}, work.library, work.reference);
  for (const Work &work : works.timed)
    bench.record({work.name, "allocations", work.allocations, work.referenceIs, {}}, allocationsOf(work.library),
                 allocationsOf(work.reference));
  countInstructionsOf(bench, works.all());
}

}  // namespace

Surroundings::Surroundings(const DatabaseServer &server, const std::string &name)
    : db(name),
      library(openWithLibrary(server, name)),
      reference(openReference(server, name, &listener.socket())),
      handle(openHandle(server, name)),
      inTransaction(openHandle(server, name)) {
  if (orv_db_retry_init() != ORV_DB_OK) throw std::runtime_error("the notification server is missing");
  orv_db_begin_transaction(inTransaction.get());
}

Works::Works(Surroundings &surroundings) {
  addContainerWorks(timed);
  addInsertWork(timed, surroundings);
  addReportWork(timed, surroundings);
  addRowWorks(timed, surroundings);
  addStoreWorks(counted, surroundings);
}

std::vector<Work> Works::all() const {
  std::vector<Work> works = timed;
  works.insert(works.end(), counted.begin(), counted.end());
  return works;
}

int main(int argc, char **argv) {
  if (isCountedProgram(argc, argv)) return runCounted(argv);
  return runBench("process", argc, argv, [](Bench &bench) {
    const DatabaseServer server = databaseServer(bench.connectionFile());
    pinProcess(server.pid, Role::kDatabase);
    AdminConnection admin(server);
    admin.makeDatabase(kDb);
    makeItemTables(admin, 1000);
    const NotificationServer notificationServer;
    Surroundings surroundings(server, kDb);
    measureAll(bench, Works(surroundings));
    measureStartUp(bench);
  });
}

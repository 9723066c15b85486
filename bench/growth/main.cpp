// How the figures grow with rows, columns, threads and registrations; how they grow with listeners, shows the group
// "notification".
#include <orvdb_client.h>

#include <stdexcept>

#include "curves.h"
#include "frame/notification_server.h"

namespace {

constexpr char kDb[] = "orv_bench_growth";

}  // namespace

int main(int argc, char **argv) {
  return runBench("growth", argc, argv, [](Bench &bench) {
    const NotificationServer notificationServer;
    if (orv_db_retry_init() != ORV_DB_OK) throw std::runtime_error("the library does not find the notification server");
    const DatabaseServer server = databaseServer(bench.connectionFile());
    pinProcess(server.pid, Role::kDatabase);
    Ground ground{server, kDb, AdminConnection(server), {}};
    ground.admin.makeDatabase(kDb);
    measureRows(bench, ground);
    measureColumns(bench, ground);
    measureThreads(bench, ground);
    measureRegistrations(bench);
  });
}

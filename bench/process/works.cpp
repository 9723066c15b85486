#include "works.h"

#include <stdexcept>

#include "items/tables.h"

namespace {

Handle openHandle(const DatabaseServer &server, const std::string &db) {
  Handle handle(
      orv_db_open(server.host.c_str(), server.user.c_str(), server.password.c_str(), db.c_str(), server.port));
  if (handle == nullptr) throw std::runtime_error(orv_db_get_error_str());
  return handle;
}

}  // namespace

void makeDatabaseOfWorks(const DatabaseServer &server) {
  AdminConnection admin(server);
  admin.makeDatabase(kDbOfWorks);
  makeItemTables(admin, 1000);
}

Surroundings::Surroundings(const DatabaseServer &server)
    : library(openWithLibrary(server, db)),
      reference(openReference(server, db, &listener.socket())),
      handle(openHandle(server, db)),
      inTransaction(openHandle(server, db)) {
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

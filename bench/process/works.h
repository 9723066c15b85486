// The works that never leave the process, or not before the last step: each is done by the library's layers, linked
// into this program, and by plain code.
#pragma once

#include <orvdb_client.h>

#include <memory>
#include <string>
#include <vector>

#include "frame/bench.h"
#include "frame/reading_process.h"
#include "items/item_store.h"
#include "support/owners.h"

struct Work {
  std::string name;
  std::string referenceIs;
  Aim allocations;  // how many of them, for one time
  Repeat library;
  Repeat reference;
};

// The database that the works are done in. Its name is one that a std::string has to ask for memory for.
constexpr char kDbOfWorks[] = "orv_bench_process";
void makeDatabaseOfWorks(const DatabaseServer &server);

// What the works are done with: connections to that database, and whoever is announced to. The notification server has
// to be there. It outlives the works.
struct Surroundings {
  explicit Surroundings(const DatabaseServer &server);

  std::string db = kDbOfWorks;
  ReadingProcess listener;
  std::unique_ptr<ItemStore> library;
  std::unique_ptr<ItemStore> reference;
  Handle handle;
  Handle inTransaction;  // whose writes are not announced
};

void addContainerWorks(std::vector<Work> &works);
void addInsertWork(std::vector<Work> &works, Surroundings &surroundings);
void addReportWork(std::vector<Work> &works, Surroundings &surroundings);
void addRowWorks(std::vector<Work> &works, Surroundings &surroundings);

void addStoreWorks(std::vector<Work> &works, Surroundings &surroundings);

struct Works {
  explicit Works(Surroundings &surroundings);

  std::vector<Work> all() const;

  std::vector<Work> timed;    // and counted
  std::vector<Work> counted;  // alone
};

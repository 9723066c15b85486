// How figures grow: each function measures the points of its curves.
#pragma once

#include "frame/bench.h"
#include "frame/reading_process.h"
#include "support/database_server.h"

// What the works are done with. The notification server runs, and the library is connected to it.
struct Ground {
  DatabaseServer server;
  std::string db;
  AdminConnection admin;
  ReadingProcess listener;  // to which the references announce
};

void measureRows(Bench &bench, Ground &ground);
void measureColumns(Bench &bench, Ground &ground);
void measureThreads(Bench &bench, Ground &ground);
void measureRegistrations(Bench &bench);

// A point of a curve. The name of its row ends in the number.
inline Subject pointOf(const std::string &work, const std::string &xName, std::size_t x, const std::string &reference) {
  return {work + ", " + xName + ": " + std::to_string(x),
          "s",
          {},
          reference,
          {work + " by " + xName, xName, static_cast<double>(x)}};
}

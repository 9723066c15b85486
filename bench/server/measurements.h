// What is measured.
#pragma once

#include <cstddef>
#include <vector>

#include "servers.h"

double median(std::vector<double> values);

struct Latency {
  double medianUs;
  double p99Us;
  double mostUs;
};

// From just before a change is written until it has been read, one change each millisecond.
Latency measureLatency(const ServerProcess &server, int changes);

// Changes per second times readers. No more changes are on their way than a server's queues hold.
struct Load {
  std::size_t readers;
  std::size_t changes;
  std::size_t readSize;  // that each reader asks for at a time
};
double measureDeliveries(const ServerProcess &server, const Load &load);

// The same with writers that do not wait for the readers, one of which does not read at all.
double measureOverload(const ServerProcess &server, std::size_t readers, std::size_t changes);

#include "measurements.h"

#include <unistd.h>

#include <algorithm>
#include <thread>

#include "clients.h"

namespace {

constexpr std::size_t kWriters = 4;
// Per reader: less than half of what one queue holds, and less where the total is shared by many.
constexpr std::size_t kOnTheWay = 800;
constexpr std::size_t kOnTheWayToAll = 50'000;

double secondsSince(Clock::time_point begin) { return std::chrono::duration<double>(Clock::now() - begin).count(); }

std::vector<Client> connectWriters(const ServerProcess &server) {
  std::vector<Client> writers;
  for (std::size_t i = 0; i < kWriters; ++i)
    writers.emplace_back(server.socket());
  return writers;
}

void awaitDeliveries(const Readers &readers, std::uint64_t wanted) {
  while (readers.delivered() < wanted)
    usleep(20);
}

}  // namespace

double median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
}

Latency measureLatency(const ServerProcess &server, int changes) {
  Client reader(server.socket());
  reader.registerKey("t");
  std::vector<double> all;
  std::thread reading([&] {
    while (all.size() < static_cast<std::size_t>(changes)) {
      const _ORV_DB_MESSAGE change = reader.receive();
      if (change.rowId != 0) all.push_back(static_cast<double>(nowNs() - change.rowId) / 1000);
    }
  });
  Client writer(server.socket());
  for (int i = 0; i < changes; ++i) {
    writer.announce("t", nowNs());
    usleep(1000);
  }
  reading.join();
  std::sort(all.begin(), all.end());
  return {all[all.size() / 2], all[all.size() * 99 / 100], all.back()};
}

double measureDeliveries(const ServerProcess &server, const Load &load) {
  const auto [readerCount, changes, readSize] = load;
  const Readers readers(server.socket(), readerCount, readSize);
  std::vector<Client> writers = connectWriters(server);
  const std::size_t block = std::min(kOnTheWay, kOnTheWayToAll / readerCount) / 2;
  const auto begin = Clock::now();
  for (std::size_t i = 0; i < changes; ++i) {
    if (i % block == 0 && i > block) awaitDeliveries(readers, (i - block) * readerCount);
    writers[i % kWriters].announce("t", i);
  }
  awaitDeliveries(readers, changes * readerCount);
  return static_cast<double>(changes * readerCount) / secondsSince(begin);
}

double measureOverload(const ServerProcess &server, std::size_t readerCount, std::size_t changes) {
  const Readers readers(server.socket(), readerCount);
  Client sleeper(server.socket());
  sleeper.registerKey("t");
  std::vector<Client> writers = connectWriters(server);
  const auto begin = Clock::now();
  for (std::size_t i = 0; i < changes; ++i)
    writers[i % kWriters].announce("t", i);
  return static_cast<double>(changes) / secondsSince(begin);
}

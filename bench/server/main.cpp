// Prints what the notification server costs beside the two relays, all measured in turn in one run.
//
//   server_bench [ROUNDS]      medians over so many rounds, 5 if nothing is given
#include <sys/resource.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>

#include "clients.h"
#include "measurements.h"

namespace {

namespace fs = std::filesystem;

constexpr std::size_t kRecord = sizeof(_ORV_DB_MESSAGE);  // as the library reads
constexpr std::size_t kAll = Readers::kReadSize;
constexpr Load kLoads[] = {{1, 100'000, kAll},  {10, 50'000, kAll},    {100, 10'000, kAll},
                           {1000, 1'000, kAll}, {10, 20'000, kRecord}, {100, 2'000, kRecord}};
constexpr int kLatencyChanges = 500;
constexpr std::size_t kManyKeys = 100'000;

class Folder {
 public:
  Folder() {
    std::string name = fs::temp_directory_path() / "orvdb-bench.XXXXXX";
    m_path = mkdtemp(name.data());
  }
  ~Folder() { fs::remove_all(m_path); }
  Folder(const Folder &) = delete;
  Folder &operator=(const Folder &) = delete;
  std::string path() const { return m_path; }

 private:
  fs::path m_path;
};

void raiseDescriptorLimit() {
  rlimit limit{};
  getrlimit(RLIMIT_NOFILE, &limit);
  limit.rlim_cur = limit.rlim_max;
  setrlimit(RLIMIT_NOFILE, &limit);
}

std::vector<ServerProcess> startAll(const std::string &folder) {
  std::vector<ServerProcess> servers;
  for (const std::string &name : serverNames())
    servers.emplace_back(name, folder);
  return servers;
}

// One measurement of every server in each round, so that a busy moment of the machine meets all of them.
template <class Measure>
std::vector<double> inTurn(const std::vector<ServerProcess> &servers, int rounds, Measure measure) {
  std::vector<std::vector<double>> values(servers.size());
  for (int round = 0; round < rounds; ++round) {
    for (std::size_t i = 0; i < servers.size(); ++i)
      values[i].push_back(measure(servers[i]));
  }
  std::vector<double> medians;
  for (const std::vector<double> &all : values)
    medians.push_back(median(all));
  return medians;
}

void printRow(const std::string &what, const std::vector<double> &values) {
  std::printf("| %-34s | %12.1f | %12.1f | %12.1f | %10.2f | %10.2f |\n", what.c_str(), values[0], values[1], values[2],
              values[0] / values[1], values[0] / values[2]);
  std::fflush(stdout);
}

void compare(const std::string &folder, int rounds) {
  const std::vector<ServerProcess> servers = startAll(folder);
  std::puts(
      "| median of rounds                   | orvdb_server |  relay, each |  relay, runs | to \"each\"  | to \"runs\"  "
      "|");
  std::puts(
      "|------------------------------------|-------------:|-------------:|-------------:|-----------:|-----------:|");
  std::map<const ServerProcess *, std::vector<double>> p99;
  printRow("latency, median, us", inTurn(servers, rounds, [&](const ServerProcess &server) {
             const Latency latency = measureLatency(server, kLatencyChanges);
             p99[&server].push_back(latency.p99Us);
             return latency.medianUs;
           }));
  printRow("latency, 99th percentile, us",
           {median(p99[&servers[0]]), median(p99[&servers[1]]), median(p99[&servers[2]])});
  for (const Load &load : kLoads) {
    const std::string what = std::to_string(load.readers) + (load.readSize == kRecord ? " one by one" : " readers");
    printRow(what + ", deliveries/s",
             inTurn(servers, rounds, [&load](const ServerProcess &server) { return measureDeliveries(server, load); }));
  }
  std::printf("\ncollapsed changes of orvdb_server up to here: %ld\n", servers[0].reported("collapsed"));
}

void measureMemory(const std::string &folder) {
  const ServerProcess server(serverNames()[0], folder);
  std::printf("\nresident memory, KiB: at the start %ld", server.residentKib());
  std::vector<Client> clients;
  for (int i = 0; i < 100; ++i)
    clients.emplace_back(server.socket()).registerKey("t");
  std::printf(", with 100 connections at rest %ld", server.residentKib());
  auto begin = Clock::now();
  clients.front().registerKeys("one", kManyKeys);
  std::printf(", and %zu keys on one of them %ld (%.2f s)", kManyKeys, server.residentKib(),
              std::chrono::duration<double>(Clock::now() - begin).count());
  begin = Clock::now();
  for (std::size_t i = 0; i < clients.size(); ++i) {
    clients[i].registerKeys("k" + std::to_string(i) + "_", kManyKeys / clients.size() - 2);
  }
  std::printf(", and as many on 100 %ld (%.2f s)\n", server.residentKib(),
              std::chrono::duration<double>(Clock::now() - begin).count());
}

// What has nothing to do with a change is not to make it dearer.
void measureIndependence(const std::string &folder, int rounds) {
  const ServerProcess alone(serverNames()[0], folder + "/alone");
  const ServerProcess crowded(serverNames()[0], folder + "/crowded");
  std::vector<Client> others;
  for (int i = 0; i < 1000; ++i)
    others.emplace_back(crowded.socket()).registerKeys("k" + std::to_string(i) + "_", 100);
  std::vector<double> with;
  std::vector<double> without;
  for (int round = 0; round < rounds; ++round) {
    without.push_back(measureDeliveries(alone, {10, 50'000, kAll}));
    with.push_back(measureDeliveries(crowded, {10, 50'000, kAll}));
  }
  std::printf(
      "\n10 readers beside 1,000 connections with 100,000 other keys: %.0f deliveries/s, alone %.0f, ratio %.2f\n",
      median(with), median(without), median(with) / median(without));
}

void measureOverloads(const std::string &folder) {
  const ServerProcess server(serverNames()[0], folder);
  const double rate = measureOverload(server, 10, 300'000);
  std::printf(
      "\n10 readers and one that does not read, writers at full speed: %.0f changes/s written; %ld collapsed, "
      "largest queue %ld bytes, resident %ld KiB\n",
      rate, server.reported("collapsed"), server.reported("largest_queue_bytes"), server.residentKib());
}

// A sweep of many keys is spread, so that changes go on beside it.
void measureSweep(const std::string &folder) {
  const ServerProcess server("orvdb_server, sweeps", folder);
  std::vector<Client> clients;
  for (int i = 0; i < 100; ++i)
    clients.emplace_back(server.socket()).registerKeys("k" + std::to_string(i) + "_", 1900);
  const Latency latency = measureLatency(server, 3000);
  std::printf(
      "\nsweeps of 190,000 keys on 100 connections that do not read: latency of changes meanwhile, us: median %.0f, "
      "99th percentile %.0f, most %.0f\n",
      latency.medianUs, latency.p99Us, latency.mostUs);
}

}  // namespace

int main(int argc, char **argv) {
  const int rounds = argc > 1 ? std::atoi(argv[1]) : 5;
  raiseDescriptorLimit();
  const Folder folder;
  for (const char *name : {"/alone", "/crowded"})
    fs::create_directory(folder.path() + name);
  compare(folder.path(), rounds);
  measureMemory(folder.path());
  measureIndependence(folder.path(), rounds);
  measureOverloads(folder.path());
  measureSweep(folder.path());
}

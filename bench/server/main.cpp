// What the notification server costs: beside two relays, and beside itself with less to do.
#include <filesystem>

#include "circle.h"
#include "frame/bench.h"
#include "frame/descriptor_limit.h"
#include "support/resident_memory.h"

namespace {

std::string socketOf(const std::string &name) { return std::filesystem::temp_directory_path() / name; }

NotificationServer startServer(const std::string &name, const std::string &option = "--resync=never") {
  return {{option}, socketOf(name)};
}

class ServerBench {
 public:
  explicit ServerBench(Bench &bench)
      : m_bench(bench),
        m_server(startServer("server")),
        m_each(Relay::kEach, socketOf("each")),
        m_runs(Relay::kRuns, socketOf("runs")) {}

  void measureAll() {
    compareWithRelay(m_each, ", beside single records", "a relay that passes on each record by itself");
    compareWithRelay(m_runs, ", beside runs of records", "a relay that passes on all that is there in one piece");
    measureCrowd();
    measureSleeper();
    measureSweep();
    measureMemory();
  }

 private:
  void compareWithRelay(const ServerProgram &relay, const std::string &name, const std::string &reference) {
    for (const std::size_t readers : {1U, 10U, 100U, 1000U})
      comparePasses(workOf(readers) + name, reference, Circle(m_server, readers), Circle(relay, readers));
    for (const std::size_t readers : {10U, 100U})
      comparePasses(workOf(readers) + ", one by one" + name, reference, Circle(m_server, readers, kRecordSize),
                    Circle(relay, readers, kRecordSize));
    const Circle ours(m_server, 1);
    const Circle theirs(relay, 1);
    const auto latencyOf = [](const Circle &circle) {
      return [&circle] {
        const std::vector<double> all = circle.latencies(0.05);
        return all[all.size() * 99 / 100];
      };
    };
    m_bench.compareValues({"latency, 99th percentile" + name, "s", {}, reference, {}}, latencyOf(ours),
                          latencyOf(theirs));
  }

  // What has nothing to do with a change does not make it dearer.
  void measureCrowd() {
    const NotificationServer crowded = startServer("crowded");
    const auto others = bystanders(crowded, 1000, fewerInTrial(100));
    comparePasses(workOf(10) + ", 1,000 connections with 100,000 other keys", "the server without those",
                  Circle(crowded, 10), Circle(m_server, 10));
  }

  void measureSleeper() {
    const NotificationServer slowed = startServer("slowed");
    const RecordSocket asleep = sleeper(slowed);
    comparePasses(workOf(10) + ", one more does not read", "the server without that one", Circle(slowed, 10),
                  Circle(m_server, 10));
  }

  // A sweep of many keys is spread, so that changes go on beside it. A new connection asks for one.
  void measureSweep() {
    const NotificationServer sweeping = startServer("sweeping", "--resync=always");
    const NotificationServer still = startServer("still");
    const auto swept = bystanders(sweeping, 100, fewerInTrial(1000));
    const auto left = bystanders(still, 100, fewerInTrial(1000));
    const double seconds = m_bench.isTrial() ? 0.05 : 3;
    const auto longestOf = [seconds](const ServerProgram &server) {
      return [seconds, &server] { return Circle(server, 1).latencies(seconds).back(); };
    };
    m_bench.compareValues({"longest latency while 100,000 keys are swept", "s", {}, "the server without a sweep", {}},
                          longestOf(sweeping), longestOf(still), 2);
  }

  void measureMemory() {
    const NotificationServer server = startServer("filled");
    const double before = residentBytes(server.pid());
    const auto connections = bystanders(server, 100, 1);
    m_bench.record({"resident memory, 100 connections", "B", {}, "the server at its start", {}},
                   residentBytes(server.pid()), before);
    const auto keys = bystanders(server, 1, fewerInTrial(100'000));
    m_bench.record({"resident memory, 100,000 keys on one more", "B", {}, "the server at its start", {}},
                   residentBytes(server.pid()), before);
  }

  void comparePasses(const std::string &work, const std::string &reference, const Circle &ours, const Circle &theirs) {
    const auto passing = [](const Circle &circle) {
      return [&circle](std::size_t count) {
        for (std::size_t i = 0; i < count; ++i)
          circle.pass();
      };
    };
    m_bench.compare({work, "s", {}, reference, {}}, passing(ours), passing(theirs));
  }

  static std::string workOf(std::size_t readers) {
    return std::to_string(kChanges) + " changes, readers: " + std::to_string(readers);
  }

  std::size_t fewerInTrial(std::size_t keys) const { return m_bench.isTrial() ? 1 : keys; }

  Bench &m_bench;
  NotificationServer m_server;
  Relay m_each;
  Relay m_runs;
};

}  // namespace

int main(int argc, char **argv) {
  return runBench("server", argc, argv, [](Bench &bench) {
    raiseDescriptorLimit();
    ServerBench(bench).measureAll();
  });
}

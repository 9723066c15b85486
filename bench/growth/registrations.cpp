// What one more registration takes, and looking one up, by the number of those that are there.
#include <benchmark/benchmark.h>
#include <orvdb_client.h>

#include <filesystem>
#include <map>
#include <random>
#include <stdexcept>

#include "curves.h"
#include "frame/notification_server.h"

namespace {

constexpr char kDb[] = "bench";

void ignore(const char *, const char *, _orv_db_action_t, unsigned long long, void *) {}

std::string tableOf(std::size_t number) { return "table" + std::to_string(number); }

void registerFor(const std::string &table) {
  if (orv_db_register_callback(kDb, table.c_str(), ORV_DB_ACTION_ALL, nullptr, 0, ignore) != ORV_DB_OK)
    throw std::runtime_error("a registration has failed");
}

void cancel(const std::string &table) {
  if (orv_db_cancel_callback(kDb, table.c_str(), ORV_DB_ACTION_ALL) != ORV_DB_OK)
    throw std::runtime_error("a cancellation has failed");
}

// Tables for which nobody has registered, whose names lie all over among the others.
std::vector<std::string> absentTables(std::size_t registered) {
  std::mt19937 random;
  std::uniform_int_distribution<std::size_t> anyOf(0, registered - 1);
  std::vector<std::string> tables(1024);
  for (std::string &table : tables)
    table = tableOf(anyOf(random)) + "x";
  return tables;
}

class RegistrationBench {
 public:
  explicit RegistrationBench(Bench &bench)
      : m_bench(bench),
        m_relay(Relay::kEach, std::filesystem::temp_directory_path() / "relay.sock"),
        m_socket(m_relay.connect()) {}

  void measureAt(std::size_t registered) {
    while (m_keys.size() < registered) {
      const std::string table = tableOf(m_keys.size());
      registerFor(table);
      m_keys.emplace(std::pair(kDb, table), 0);
    }
    measureOneMore();
    measureLookup();
  }

 private:
  // Those that are added go again before the next block. The server is done with them when it answers what comes after.
  void measureOneMore() {
    std::size_t added = 0;
    m_bench.compare(
        pointOf("one more registration", "registrations", m_keys.size(), "a record and its reply, from a bare relay"),
        [&](std::size_t count) {
          for (; added < count; ++added)
            registerFor("more" + std::to_string(added));
        },
        [this](std::size_t count) {
          for (std::size_t i = 0; i < count; ++i)
            m_socket.registerFor(kDb, "more" + std::to_string(i));
        },
        [&](std::size_t) {
          for (; added > 0; --added)
            cancel("more" + std::to_string(added - 1));
          registerFor(tableOf(0));
        });
  }

  // A cancellation that finds nothing sends nothing.
  void measureLookup() {
    const std::vector<std::string> absent = absentTables(m_keys.size());
    std::vector<std::pair<std::string, std::string>> keys(absent.size());
    for (std::size_t i = 0; i < keys.size(); ++i)
      keys[i] = {kDb, absent[i]};
    m_bench.compare(
        pointOf("registration looked up", "registrations", m_keys.size(), "std::map with the same keys"),
        [&](std::size_t count) {
          for (std::size_t i = 0; i < count; ++i)
            cancel(absent[i % absent.size()]);
        },
        [&](std::size_t count) {
          for (std::size_t i = 0; i < count; ++i)
            benchmark::DoNotOptimize(m_keys.find(keys[i % keys.size()]));
        });
  }

  Bench &m_bench;
  Relay m_relay;
  RecordSocket m_socket;
  std::map<std::pair<std::string, std::string>, int> m_keys;  // of all registrations that stay
};

}  // namespace

void measureRegistrations(Bench &bench) {
  RegistrationBench registrations(bench);
  const std::size_t most = bench.isTrial() ? 1000 : 100'000;
  for (std::size_t registered = 10; registered <= most; registered *= 10)
    registrations.measureAt(registered);
}

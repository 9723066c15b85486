// The path of a change: from its announcement in one process to the callback in another.
#include <orvdb_client.h>

#include <filesystem>
#include <functional>
#include <stdexcept>

#include "frame/bench.h"
#include "frame/descriptor_limit.h"
#include "frame/reading_process.h"
#include "items/item_store.h"
#include "items/tables.h"
#include "listener.h"
#include "listeners.h"
#include "restart.h"

namespace {

constexpr char kStoreDb[] = "orv_bench_notification";

using Announce = std::function<void(unsigned long long rowId)>;

void announceWithLibrary(unsigned long long rowId) {
  if (orv_db_notify_change(kDb, kTable, ORV_DB_ACTION_INSERT, rowId) != ORV_DB_OK)
    throw std::runtime_error("the library cannot announce");
}

Announce announcingBy(const RecordSocket &socket) {
  return [&socket](unsigned long long rowId) { socket.announce(kDb, kTable, ORV_DB_ACTION_INSERT, rowId); };
}

class NotificationBench {
 public:
  explicit NotificationBench(Bench &bench)
      : m_bench(bench),
        m_relay(Relay::kEach, std::filesystem::temp_directory_path() / "relay.sock"),
        m_toRelay(m_relay.connect()) {
    if (orv_db_retry_init() != ORV_DB_OK) throw std::runtime_error("the library does not find the notification server");
  }

  void measureAll() {
    measureOneListener();
    for (const std::size_t count : {1U, 100U, 10'000U})
      measureRegistrations(count);
    for (const std::size_t count : {1U, 10U, 100U})
      measureProcesses(count);
    for (const std::size_t count : {1U, 10U, 100U, 1000U})
      measureConnections(count);
    measureInsert();
  }

 private:
  void measureOneListener() {
    const Listeners callback = Listeners::withCallbacks(1);
    const Listeners byRelay = Listeners::withSockets(m_relay, 1);
    const Listeners byPair = Listeners::withoutServer();
    compare({"change to a callback in another process", "s", {}, "a bare relay between two sockets", {}}, callback,
            byRelay, announcingBy(m_toRelay));
    compare({"the same beside a socket pair", "s", {}, "two processes with a pair of sockets, nobody between", {}},
            callback, byPair, announcingBy(byPair.socket()));
  }

  // The relay's listener has one connection, whatever the library's has registered for.
  void measureRegistrations(std::size_t count) {
    const Listeners callback = Listeners::withCallbacks(1, count);
    const Listeners byRelay = Listeners::withSockets(m_relay, 1);
    compare({"change to a callback, registrations: " + std::to_string(count),
             "s",
             {},
             "a bare relay between two sockets",
             {"notification by registrations", "registrations of the listening process", static_cast<double>(count)}},
            callback, byRelay, announcingBy(m_toRelay));
  }

  void measureProcesses(std::size_t count) {
    const Listeners callbacks = Listeners::withCallbacks(count);
    const Listeners byRelay = Listeners::withSockets(m_relay, count);
    compare({"change to all, processes: " + std::to_string(count),
             "s",
             {},
             "as many processes behind a bare relay; until the last has it",
             {"notification by processes", "listening processes", static_cast<double>(count)}},
            callbacks, byRelay, announcingBy(m_toRelay));
  }

  // Those who listen are the same on both sides.
  void measureConnections(std::size_t count) {
    const Listeners byServer = Listeners::withSockets(m_server, 1, count);
    const Listeners byRelay = Listeners::withSockets(m_relay, 1, count);
    compare({"change to all, connections: " + std::to_string(count),
             "s",
             {},
             "as many connections to a bare relay; until the last has it",
             {"notification by connections", "listening connections", static_cast<double>(count)}},
            byServer, byRelay, announcingBy(m_toRelay));
  }

  void compare(const Subject &subject, const Listeners &library, const Listeners &reference,
               const Announce &announceByHand) {
    const auto delayOf = [this](const Listeners &listeners, const Announce &announce) {
      return [this, &listeners, announce] { return medianDelay(listeners, announce); };
    };
    m_bench.compareValues(subject, delayOf(library, announceWithLibrary), delayOf(reference, announceByHand));
  }

  // Each change has arrived before the next one is announced.
  double medianDelay(const Listeners &listeners, const Announce &announce) const {
    std::vector<double> delays;
    for (std::size_t i = 0; i < (m_bench.isTrial() ? 1 : 20); ++i) {
      announce(now());
      delays.push_back(listeners.lastDelay());
    }
    return spreadOf(std::move(delays)).median;
  }

  // What it costs a writer that another process hears of its writes.
  void measureInsert() {
    const DatabaseServer server = databaseServer(m_bench.connectionFile());
    pinProcess(server.pid, Role::kDatabase);
    AdminConnection admin(server);
    admin.makeDatabase(kStoreDb);
    makeItemTables(admin, 1);
    RecordSocket listening = m_server.connect();
    listening.registerFor(kStoreDb, "work");
    const ReadingProcess listener(std::move(listening));
    const auto library = openWithLibrary(server, kStoreDb);
    const auto silent = openReference(server, kStoreDb, nullptr);
    const auto insertWith = [](ItemStore &store) {
      return [&store](std::size_t count) {
        for (std::size_t i = 0; i < count; ++i)
          store.insert({});
      };
    };
    m_bench.compare({"insert that a process hears of", "s", {}, "the same by hand, announced to nobody", {}},
                    insertWith(*library), insertWith(*silent));
  }

  Bench &m_bench;
  NotificationServer m_server;
  Relay m_relay;
  RecordSocket m_toRelay;
};

}  // namespace

int main(int argc, char **argv) {
  return runBench("notification", argc, argv, [](Bench &bench) {
    raiseDescriptorLimit();
    NotificationBench(bench).measureAll();
    measureRestart(bench);
  });
}

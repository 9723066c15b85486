// The database path: each work done with the library and with the client library alone, by turns.
#include <orvdb_client.h>

#include <stdexcept>

#include "frame/bench.h"
#include "frame/notification_server.h"
#include "frame/reading_process.h"
#include "items/item_store.h"
#include "items/read_all.h"
#include "items/tables.h"
#include "resident.h"

namespace {

constexpr char kDb[] = "orv_bench";
constexpr unsigned long long kManyRows = 100'000;
constexpr char kByHand[] = "prepare, bind, execute, close";

Item sampleItem(unsigned int number) {
  Item item;
  std::string("item number " + std::to_string(number)).copy(item.name, sizeof item.name - 1);
  item.price = static_cast<int>(number % 10'000);
  item.stock = 1'000'003LL * number;
  item.weight = number / 8.0;
  item.codeLength = 16;
  return item;
}

using Select = std::unique_ptr<Rows> (ItemStore::*)(unsigned long long);

class DatabaseBench {
 public:
  DatabaseBench(Bench &bench, const DatabaseServer &server) : m_bench(bench), m_server(server), m_admin(server) {
    m_admin.makeDatabase(kDb);
    makeItemTables(m_admin, kManyRows);
  }

  void measureAll() {
    measureInsertWithoutListener();
    const NotificationServer notificationServer;
    if (orv_db_retry_init() != ORV_DB_OK) throw std::runtime_error("the library does not find the notification server");
    const ReadingProcess listener;
    m_library = openWithLibrary(m_server, kDb);
    m_reference = openReference(m_server, kDb, &listener.socket());
    measureInsert({"insert of 5 columns", "s", ratioAtMost(1.02), kByHand, {}});
    measureByHand(notificationServer, listener.socket());
    measureUpdates(listener.socket());
    measureDelete();
    measureOneRow("query of 1 row", &ItemStore::selectOne);
    measureOneRow("raw query of 1 row", &ItemStore::selectOneText);
    measureManyRows("query of 100,000 rows", &ItemStore::select);
    measureManyRows("raw query of 100,000 rows", &ItemStore::selectText);
    measureResident(m_bench, kDb, kManyRows);
    measureOpen();
  }

 private:
  // Those who announce to a server that has never been there look for it each time.
  void measureInsertWithoutListener() {
    m_library = openWithLibrary(m_server, kDb);
    m_reference = openReference(m_server, kDb, nullptr);
    measureInsert({"insert, no notification server there", "s", {}, "the same, without announcing it", {}});
  }

  void measureInsert(const Subject &subject) {
    const auto insertWith = [](ItemStore &store) {
      return [&store](std::size_t count) {
        for (std::size_t i = 0; i < count; ++i)
          store.insert(sampleItem(static_cast<unsigned int>(i)));
      };
    };
    m_bench.compare(subject, insertWith(*m_library), insertWith(*m_reference));
  }

  // What of it is the notification server's, which has more to do than to read. The same without any difference shows
  // how far a ratio can be trusted.
  void measureByHand(const NotificationServer &server, const RecordSocket &listener) {
    const RecordSocket socket = server.connect();
    std::unique_ptr<ItemStore> library = std::move(m_library);
    m_library = openReference(m_server, kDb, &socket);
    measureInsert({"insert by hand, announced to the notification server",
                   "s",
                   {},
                   "announced to a process that only reads",
                   {}});
    m_library = openReference(m_server, kDb, &listener);
    measureInsert({"insert by hand, beside itself", "s", {}, "the very same: the ratio should be 1", {}});
    m_library = std::move(library);
  }

  void measureUpdates(const RecordSocket &listener) {
    const unsigned long long id = m_reference->insert(sampleItem(1));
    const auto updateWith = [this, id](ItemStore &store) {
      return [this, id, &store](std::size_t count) {
        for (std::size_t i = 0; i < count; ++i)
          store.update(id, ++m_price);  // a price that stays is no change
      };
    };
    m_bench.compare({"update by id", "s", ratioAtMost(1.05), "the same two statements", {}}, updateWith(*m_library),
                    updateWith(*m_reference));
    const auto prepared = openPreparedReference(m_server, kDb, &listener);
    m_bench.compare({"update by id, beside statements prepared once", "s", {}, "the two statements prepared once", {}},
                    updateWith(*m_library), updateWith(*prepared));
  }

  void measureDelete() {
    unsigned long long next = 1'000'000'000;
    unsigned long long firstFree = next;
    const auto removeWith = [&next](ItemStore &store) {
      return [&next, &store](std::size_t count) {
        for (std::size_t i = 0; i < count; ++i)
          store.remove(next++);
      };
    };
    // By neither of the two connections: it would be at an advantage.
    const auto fill = [&next, &firstFree, this](std::size_t count) {
      next = firstFree;
      firstFree += count;
      m_admin.query("INSERT INTO work(_id,name,price) SELECT " + std::to_string(next) +
                    "+seq,'item',seq FROM seq_0_to_" + std::to_string(count - 1));
    };
    m_bench.compare({"delete by id", "s", ratioAtMost(1.02), kByHand, {}}, removeWith(*m_library),
                    removeWith(*m_reference), fill);
  }

  void measureOneRow(const std::string &name, Select select) {
    const auto readWith = [select](ItemStore &store) {
      return [select, &store](std::size_t count) {
        for (std::size_t i = 0; i < count; ++i) {
          if (readAll(*(store.*select)(1 + i % kManyRows)) == 0) throw std::runtime_error("no row was read");
        }
      };
    };
    m_bench.compare({name, "s", ratioAtMost(1.02), "the same call by call", {}}, readWith(*m_library),
                    readWith(*m_reference));
  }

  void measureManyRows(const std::string &name, Select select) {
    const auto ours = (*m_library.*select)(kManyRows);
    const auto theirs = (*m_reference.*select)(kManyRows);
    const double sum = readAll(*theirs);
    if (sum == 0 || readAll(*ours) != sum) throw std::runtime_error("library and reference read different rows");
    const auto rereading = [](Rows &rows) {
      return [&rows](std::size_t count) {
        for (std::size_t i = 0; i < count; ++i) {
          rows.rewind();
          readAll(rows);
        }
      };
    };
    const auto readWith = [select](ItemStore &store) {
      return [select, &store](std::size_t count) {
        for (std::size_t i = 0; i < count; ++i)
          readAll(*(store.*select)(kManyRows));
      };
    };
    m_bench.compare({name + ", all columns read", "s", ratioAtMost(1.05), "the same call by call", {}},
                    readWith(*m_library), readWith(*m_reference));
    m_bench.compare({name + ", only step and getters", "s", {}, "the same call by call", {}}, rereading(*ours),
                    rereading(*theirs));
  }

  void measureOpen() {
    m_bench.compare(
        {"open and close", "s", {}, "the same options and calls", {}},
        [this](std::size_t count) {
          for (std::size_t i = 0; i < count; ++i)
            openWithLibrary(m_server, kDb);
        },
        [this](std::size_t count) {
          for (std::size_t i = 0; i < count; ++i)
            openReference(m_server, kDb, nullptr);
        });
  }

  Bench &m_bench;
  DatabaseServer m_server;
  AdminConnection m_admin;
  std::unique_ptr<ItemStore> m_library;
  std::unique_ptr<ItemStore> m_reference;
  int m_price = 1'000'000;
};

}  // namespace

int main(int argc, char **argv) {
  if (isResidentProgram(argc, argv)) return printResident(argv);
  return runBench("database", argc, argv, [](Bench &bench) {
    const DatabaseServer server = databaseServer(bench.connectionFile());
    pinProcess(server.pid, Role::kDatabase);
    DatabaseBench(bench, server).measureAll();
  });
}

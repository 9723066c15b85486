// soak_reader CONNECTION DATABASE TALLY COPY DELAY
//
// Keeps a copy of two tables: it reads a row anew when it is told of that row, and the whole table when it is told of
// the whole or of a row that is not named. While the run pauses it writes what it believes them to hold to the file
// COPY. Each callback takes DELAY milliseconds.
#include <array>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <mutex>
#include <set>
#include <utility>

#include "soak/client.h"

namespace {

constexpr std::chrono::milliseconds kGathering{20};
constexpr std::chrono::milliseconds kLongestRest{50};

struct Pending {
  bool isEmpty() const { return !isWholeTable && rows.empty(); }

  void add(unsigned long long row) {
    if (row == kWholeTable || row == kUnknownRow) {
      isWholeTable = true;
    } else {
      rows.insert(row);
    }
  }

  void add(const Pending &other) {
    isWholeTable = isWholeTable || other.isWholeTable;
    rows.insert(other.rows.begin(), other.rows.end());
  }

  bool isWholeTable = false;
  std::set<unsigned long long> rows;
};

// One copied table: what it is believed to hold, and what the message thread has left to be read.
class Copy {
 public:
  Copy(const Client &client, const char *table, std::vector<const char *> columns)
      : m_client(client), m_table(table), m_columns(std::move(columns)) {}

  void follow(std::chrono::milliseconds delay) {
    m_delay = delay;
    m_client.registerFor(m_table, ORV_DB_ACTION_ALL, this,
                         [](const char *, const char *, _orv_db_action_t, unsigned long long row, void *data) {
                           static_cast<Copy *>(data)->hear(row);
                         });
    add(kWholeTable);
  }

  // Whether there was something to do. On failure all of it is left to do.
  bool catchUp(const Handle &handle) {
    const Pending pending = take();
    if (pending.isEmpty()) return false;
    try {
      apply(pending, handle);
    } catch (const std::runtime_error &) {
      const std::lock_guard guard(m_mutex);
      m_pending.add(pending);
      throw;
    }
    return true;
  }

  void write(std::ostream &file) const {
    for (const auto &[id, rest] : m_rows)
      file << m_table << ' ' << id << rest << '\n';
  }

 private:
  using Rows = std::map<long long, std::string>;

  void hear(unsigned long long row) {
    std::this_thread::sleep_for(m_delay);
    count(row);
    add(row);
  }

  // A whole table is told of after every commit, but of the slots only if something was lost.
  void count(unsigned long long row) {
    Tally &tally = m_client.tally();
    if (row != kWholeTable) {
      ++tally.heard;
      ++tally.heardSinceTold;
    } else if (std::strcmp(m_table, kSlots) == 0) {
      ++tally.told;
      tally.heardSinceTold = 0;
    }
  }

  void add(unsigned long long row) {
    const std::lock_guard guard(m_mutex);
    m_pending.add(row);
  }

  Pending take() {
    const std::lock_guard guard(m_mutex);
    return std::exchange(m_pending, {});
  }

  void apply(const Pending &pending, const Handle &handle) {
    if (pending.isWholeTable) {
      m_rows = load(handle, nullptr, nullptr);
      return;
    }
    for (const unsigned long long row : pending.rows) {
      const _orv_db_param_t id = uint64Param(row);
      Rows found = load(handle, "_id=?", &id);
      m_rows.erase(static_cast<long long>(row));
      m_rows.merge(found);
    }
  }

  Rows load(const Handle &handle, const char *where, const _orv_db_param_t *id) {
    ResultSetInfo *set = nullptr;
    check(orv_db_query(handle.get(), m_table, m_columns.data(), static_cast<unsigned int>(m_columns.size()), where, id,
                       id == nullptr ? 0 : 1, nullptr, &set),
          "query");
    const Result result(set);
    Rows rows;
    while (step(result)) {
      std::string &rest = rows[integerColumn(result, 0)];
      for (unsigned int column = 1; column < m_columns.size(); ++column)
        rest += ' ' + std::to_string(integerColumn(result, column));
    }
    return rows;
  }

  const Client &m_client;
  const char *const m_table;
  std::vector<const char *> m_columns;
  std::chrono::milliseconds m_delay{0};
  Rows m_rows;
  std::mutex m_mutex;
  Pending m_pending;
};

class Reader {
 public:
  explicit Reader(char **argv) : m_client(argv), m_path(argv[kClientWords]), m_handle(m_client.open()) {
    const std::chrono::milliseconds delay(std::stoi(argv[kClientWords + 1]));
    for (Copy &copy : m_copies)
      copy.follow(delay);
  }

  [[noreturn]] void run() {
    for (bool isWritten = false;;) {
      const bool isPaused = m_client.tally().isPaused != 0;
      if (catchUp() || !isPaused) isWritten = false;
      if (isPaused && !isWritten) {
        write();
        isWritten = true;
      }
      Client::sleep(isPaused ? kGathering : kLongestRest);
    }
  }

 private:
  bool catchUp() {
    bool hasChanged = false;
    Client::persist([&] {
      for (Copy &copy : m_copies)
        hasChanged = copy.catchUp(m_handle) || hasChanged;
      return true;
    });
    return hasChanged;
  }

  void write() const {
    std::ofstream file(m_path + ".new");
    for (const Copy &copy : m_copies)
      copy.write(file);
    file.close();
    std::filesystem::rename(m_path + ".new", m_path);
  }

  const Client m_client;
  const std::string m_path;
  const Handle m_handle;
  std::array<Copy, 2> m_copies{Copy{m_client, kSlots, {"_id", "value"}},
                               Copy{m_client, kItems, {"_id", "owner", "value"}}};
};

}  // namespace

int main(int argc, char **argv) {
  if (argc != kClientWords + 2) return 2;
  return runClient([argv] {
    auto &reader = *new Reader(argv);  // never released: the message thread may call until the process has ended
    reader.run();
  });
}

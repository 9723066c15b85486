// cache_reader CONNECTION DATABASE COPY
//
// Keeps a copy of the table of scores as a program would: it registers first and loads afterwards, takes over single
// inserts, and loads all again when it is told of anything else. Each time that it has nothing left to do it replaces
// the file COPY with what it believes the table to hold, one row in a line.
#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <fstream>
#include <map>
#include <mutex>
#include <set>
#include <thread>
#include <utility>

#include "demo_database.h"
#include "restart/scores.h"

namespace {

struct Pending {
  bool isEmpty() const { return !isWholeTable && rows.empty(); }

  bool isWholeTable = false;
  std::set<unsigned long long> rows;
};

// What the message thread leaves for the main one.
class Changes {
 public:
  void add(int action, unsigned long long row) {
    const std::lock_guard guard(m_mutex);
    if (action == ORV_DB_ACTION_INSERT && row != kWholeTable && row != kUnknownRow) {
      m_pending.rows.insert(row);
    } else {
      m_pending.isWholeTable = true;
    }
    m_added.notify_one();
  }

  // Waits for some.
  Pending take() {
    std::unique_lock guard(m_mutex);
    m_added.wait(guard, [this] { return !m_pending.isEmpty(); });
    return std::exchange(m_pending, {});
  }

  bool isEmpty() {
    const std::lock_guard guard(m_mutex);
    return m_pending.isEmpty();
  }

 private:
  std::mutex m_mutex;
  std::condition_variable m_added;
  Pending m_pending;
};

class Copy {
 public:
  Copy(const std::string &connectionFile, const std::string &database)
      : m_handle(openDatabase(connectionFile, database)) {}

  void apply(const Pending &pending) {
    if (pending.isWholeTable) {
      m_rows.clear();
      load("1");
      return;
    }
    for (const unsigned long long row : pending.rows) {
      m_rows.erase(static_cast<long long>(row));
      load("_id=" + std::to_string(row));
    }
  }

  void write(const std::string &path) const {
    std::ofstream file(path + ".new");
    for (const auto &[id, rest] : m_rows)
      file << id << ' ' << rest << '\n';
    file.close();
    std::filesystem::rename(path + ".new", path);
  }

 private:
  void load(const std::string &where) {
    const Result result = rawQuery(m_handle, "SELECT _id, team, score FROM scores WHERE " + where);
    while (step(result))
      m_rows[integerColumn(result, 0)] = textColumn(result, 1) + ' ' + textColumn(result, 2);
  }

  const Handle m_handle;
  std::map<long long, std::string> m_rows;
};

// Several changes are to be answered by one load.
constexpr std::chrono::milliseconds kGathering{10};

void registerFor(const char *database, Changes &changes) {
  const auto changed = [](const char *, const char *, _orv_db_action_t action, unsigned long long row, void *data) {
    static_cast<Changes *>(data)->add(action, row);
  };
  check(orv_db_register_callback(database, kScores, ORV_DB_ACTION_ALL, &changes, 0, changed), "register");
  changes.add(ORV_DB_ACTION_ALL, kWholeTable);
}

}  // namespace

int main(int argc, char **argv) {
  if (argc != 4) return 2;
  static Changes changes;  // stays while the message thread may call
  registerFor(argv[2], changes);
  for (Copy copy(argv[1], argv[2]);;) {
    const Pending pending = changes.take();
    copy.apply(pending);
    if (changes.isEmpty()) copy.write(argv[3]);
    std::this_thread::sleep_for(kGathering);
  }
}

// soak_forker CONNECTION DATABASE TALLY
//
// Forks a child every few seconds. The child opens a handle, registers and inserts a row, the parent hears of the row
// and answers with an update, and the child, once it has heard of that, ends.
#include <sys/prctl.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

#include <map>
#include <mutex>
#include <set>
#include <utility>

#include "soak/client.h"

namespace {

constexpr std::chrono::seconds kBetweenForks{3};
constexpr std::chrono::milliseconds kRest{50};
constexpr std::chrono::seconds kLongestWait{90};
constexpr std::chrono::seconds kLongestLife{180};

using Clock = std::chrono::steady_clock;

// Row ids that the message thread has left for the main one.
class Heard {
 public:
  void add(unsigned long long row) {
    const std::lock_guard guard(m_mutex);
    m_rows.insert(row == kUnknownRow ? kWholeTable : row);
  }

  std::set<unsigned long long> take() {
    const std::lock_guard guard(m_mutex);
    return std::exchange(m_rows, {});
  }

 private:
  std::mutex m_mutex;
  std::set<unsigned long long> m_rows;
};

void hear(const char *, const char *, _orv_db_action_t, unsigned long long row, void *data) {
  static_cast<Heard *>(data)->add(row);
}

// --- the child -------------------------------------------------------------------------------------------------------

class Child {
 public:
  Child(const Client &client, Heard &heard) : m_handle(client.open()), m_heard(heard) {
    client.registerFor(kFamily, ORV_DB_ACTION_UPDATE, &heard, hear);
  }

  bool hasAnswerInTime() {
    const auto deadline = Clock::now() + kLongestWait;
    ask();
    while (!hasAnswer()) {
      if (Clock::now() > deadline) return false;
      Client::sleep(kRest);
    }
    return true;
  }

  void tidyUp() {
    const _orv_db_param_t id = uint64Param(m_row);
    Client::persist([&] { return orv_db_delete(m_handle.get(), kFamily, "_id=?", &id, 1, nullptr) == ORV_DB_OK; });
  }

 private:
  void ask() {
    const Values values = newValues();
    orv_db_content_put_int(values.get(), "owner", getppid());
    Client::persist([&] { return orv_db_insert(m_handle.get(), kFamily, values.get(), nullptr, &m_row) == ORV_DB_OK; });
  }

  // Looks only when it is told to.
  bool hasAnswer() {
    const std::set<unsigned long long> rows = m_heard.take();
    return rows.count(m_row) != 0 || (rows.count(kWholeTable) != 0 && isAnswered());
  }

  bool isAnswered() {
    long long answer = 0;
    Client::persist([&] {
      const Result result = rawQuery(m_handle, "SELECT answer FROM family WHERE _id=" + std::to_string(m_row));
      if (step(result)) answer = integerColumn(result, 0);
      return true;
    });
    return answer != 0;
  }

  const Handle m_handle;
  Heard &m_heard;
  unsigned long long m_row = 0;
};

bool isGoodLife(const Client &client, Heard &heard) {
  try {
    Child child(client, heard);
    const bool isAnswered = child.hasAnswerInTime();
    child.tidyUp();
    return isAnswered;
  } catch (const Ended &) {
    return true;  // with the parent
  } catch (const std::exception &problem) {
    std::cerr << "child: " << problem.what() << std::endl;
    return false;
  }
}

// --- the parent ------------------------------------------------------------------------------------------------------

class Forker {
 public:
  explicit Forker(char **argv) : m_client(argv), m_handle(m_client.open()) {
    m_client.registerFor(kFamily, ORV_DB_ACTION_INSERT, &m_heard, hear);
  }

  [[noreturn]] void run() {
    for (auto next = Clock::now();;) {
      if (Clock::now() >= next) {
        next = Clock::now() + kBetweenForks;
        forkChild();
      }
      for (const unsigned long long row : m_heard.take())
        answer(row);
      endThoseThatHang();
      collect(WNOHANG);
      Client::sleep(kRest);
    }
  }

  // The children have got the signal, or find that nobody answers.
  void end() {
    for (const auto &[child, begin] : m_children)
      kill(child, SIGTERM);
    while (!m_children.empty())
      collect(0);
  }

 private:
  // One child in two runs what the library does at exit.
  void forkChild() {
    const bool isQuick = (m_forks++ % 2) == 0;
    const pid_t pid = fork();
    if (pid > 0) m_children.emplace(pid, Clock::now());
    if (pid != 0) return;
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    static Heard heard;  // the parent's may be locked for ever by a thread that is not in this process
    const int status = isGoodLife(m_client, heard) ? 0 : 1;
    if (isQuick) _exit(status);
    exit(status);
  }

  void answer(unsigned long long row) {
    const bool isOne = row != kWholeTable;
    if (isOne) ++m_client.tally().heard;
    const _orv_db_param_t where[] = {uint64Param(static_cast<unsigned long long>(getpid())), uint64Param(row)};
    const Values values = newValues();
    orv_db_content_put_int(values.get(), "answer", 1);
    int attempts = 0;
    Client::persist([&] {
      ++attempts;
      return orv_db_update(m_handle.get(), kFamily, values.get(), isOne ? "owner=? AND _id=?" : "owner=?", where,
                           isOne ? 2 : 1, nullptr) == ORV_DB_OK;
    });
    // An update of several rows announces the first alone, and one that had been done already announces nothing.
    if (!isOne || attempts > 1) orv_db_notify_change(m_client.database(), kFamily, ORV_DB_ACTION_UPDATE, row);
  }

  void endThoseThatHang() const {
    for (const auto &[child, begin] : m_children)
      if (Clock::now() - begin > kLongestLife) kill(child, SIGKILL);
  }

  void collect(int options) {
    int status = 0;
    for (pid_t pid = 0; (pid = waitpid(-1, &status, options)) > 0;) {
      m_children.erase(pid);
      ++(status == 0 ? m_client.tally().rounds : m_client.tally().failed);
      if (options == 0) return;
    }
  }

  const Client m_client;
  const Handle m_handle;
  Heard m_heard;
  std::map<pid_t, Clock::time_point> m_children;
  int m_forks = 0;
};

}  // namespace

int main(int argc, char **argv) {
  if (argc != kClientWords) return 2;
  return runClient([argv] {
    // Never released: the message thread may call until the process has ended, and a child must not close the handle.
    auto &forker = *new Forker(argv);
    try {
      forker.run();
    } catch (const Ended &) {
      forker.end();
    }
  });
}

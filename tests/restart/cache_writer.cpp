// cache_writer CONNECTION DATABASE TIMES PAUSE
// cache_writer CONNECTION DATABASE --announce COUNT
//
// The first form writes to the table of scores, with PAUSE microseconds between two writes, until it gets a signal: on
// SIGUSR1 it prints "idle" and waits, on SIGTERM it writes the nanoseconds that each call of orv_db_notify_change()
// took to the file TIMES and ends. The second form announces COUNT changes as fast as it can and prints how many it
// made a second.
#include <signal.h>

#include <chrono>
#include <fstream>
#include <iostream>
#include <random>
#include <thread>
#include <vector>

#include "demo_database.h"
#include "restart/scores.h"

namespace {

using Clock = std::chrono::steady_clock;

volatile sig_atomic_t s_signal = 0;

class Writer {
 public:
  Writer(const std::string &connectionFile, const std::string &database)
      : m_database(database), m_handle(openDatabase(connectionFile, database)) {}

  struct NotifyCall {
    int status;
    std::chrono::nanoseconds time;
  };
  const std::vector<NotifyCall> &notifyCalls() const { return m_notifyCalls; }

  // One of each way in which the table is changed; the number of players stays as it is.
  void playRound() {
    for (void (Writer::*const step)() : kSteps) {
      if (s_signal != 0) return;
      (this->*step)();
      std::this_thread::sleep_for(pause);
    }
  }

  std::chrono::microseconds pause{0};

 private:
  int anyTeam() { return std::uniform_int_distribution(0, kTeams - 1)(m_random); }
  long long anyScore() { return std::uniform_int_distribution(0LL, 1'000'000'000LL)(m_random); }

  // A write that the server refuses, since it would wait for another one for ever, has changed nothing.
  void insertPlayer() {
    const Values values = newValues();
    orv_db_content_put_int(values.get(), "team", anyTeam());
    orv_db_content_put_int64(values.get(), "score", anyScore());
    orv_db_insert(m_handle.get(), kScores, values.get(), nullptr, nullptr);
  }

  void updateTeam() {
    const Values values = newValues();
    orv_db_content_put_int64(values.get(), "score", anyScore());
    const _orv_db_param_t team = uint64Param(static_cast<unsigned long long>(anyTeam()));
    orv_db_update(m_handle.get(), kScores, values.get(), "team=?", &team, 1, nullptr);
  }

  void deletePlayer() {
    const _orv_db_param_t team = uint64Param(static_cast<unsigned long long>(anyTeam()));
    orv_db_delete(m_handle.get(), kScores, "team=? ORDER BY _id LIMIT 1", &team, 1, nullptr);
  }

  void updateInTransaction() {
    orv_db_begin_transaction(m_handle.get());
    updateTeam();
    updateTeam();
    orv_db_commit_transaction(m_handle.get());
  }

  void insertByHand() {
    if (runByHand("INSERT INTO scores (team, score) VALUES (" + std::to_string(anyTeam()) + ", " +
                  std::to_string(anyScore()) + ")")) {
      notify(ORV_DB_ACTION_INSERT, orv_db_raw_insert_id(m_handle.get()));
    }
  }

  void updateByHand() {
    if (runByHand("UPDATE scores SET score=" + std::to_string(anyScore()) + " WHERE team=" + std::to_string(anyTeam())))
      notify(ORV_DB_ACTION_UPDATE, kUnknownRow);
  }

  void deleteByHand() {
    if (runByHand("DELETE FROM scores WHERE team=" + std::to_string(anyTeam()) + " ORDER BY _id LIMIT 1"))
      notify(ORV_DB_ACTION_DELETE, kUnknownRow);
  }

  bool runByHand(const std::string &sql) {
    return orv_db_raw_query(m_handle.get(), sql.data(), sql.size(), nullptr) == ORV_DB_OK;
  }

  void notify(_orv_db_action_t action, unsigned long long row) {
    const auto begin = Clock::now();
    const int status = orv_db_notify_change(m_database.c_str(), kScores, action, row);
    m_notifyCalls.push_back({status, Clock::now() - begin});
  }

  static constexpr void (Writer::*kSteps[])() = {
      &Writer::insertPlayer, &Writer::updateTeam,   &Writer::deletePlayer,       &Writer::insertByHand,
      &Writer::updateByHand, &Writer::deleteByHand, &Writer::updateInTransaction};

  const std::string m_database;
  const Handle m_handle;
  std::mt19937 m_random{std::random_device{}()};
  std::vector<NotifyCall> m_notifyCalls;
};

// The signals are let in only while the writer writes or waits for them.
void writeUntilSignalled(Writer &writer) {
  const auto remember = [](int number) { s_signal = number; };
  signal(SIGUSR1, remember);
  signal(SIGTERM, remember);
  std::cout << "ready" << std::endl;
  while (s_signal == 0)
    writer.playRound();
  if (s_signal == SIGTERM) return;
  std::cout << "idle" << std::endl;
  while (s_signal != SIGTERM)
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
}

void announce(const std::string &database, int count) {
  const auto begin = Clock::now();
  for (int i = 0; i < count; ++i)
    check(orv_db_notify_change(database.c_str(), kScores, ORV_DB_ACTION_INSERT, 1), "announce");
  const std::chrono::duration<double> taken = Clock::now() - begin;
  std::cout << static_cast<long>(count / taken.count()) << std::endl;
}

}  // namespace

int main(int argc, char **argv) {
  if (argc != 5) return 2;
  if (argv[3] == std::string("--announce")) {
    announce(argv[2], std::stoi(argv[4]));
    return 0;
  }
  Writer writer(argv[1], argv[2]);
  writer.pause = std::chrono::microseconds(std::stoi(argv[4]));
  writeUntilSignalled(writer);
  std::ofstream file(argv[3]);
  for (const Writer::NotifyCall &call : writer.notifyCalls())
    file << call.status << ' ' << call.time.count() << '\n';
  return 0;
}

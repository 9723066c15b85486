// soak MINUTES FOLDER
//
// Lets twenty processes that use the library share a database for so long, while the notification server and the
// database server are restarted and readers are stopped. What happens and what each process needs is written to FOLDER,
// for soak_judge to judge. Runs in a private root, by script/soak.
#include <signal.h>

#include <functional>
#include <iostream>
#include <random>

#include "soak/crew.h"
#include "soak/database_server.h"
#include "soak/tables.h"
#include "support/private_root.h"
#include "support/server_status.h"
#include "support/wait.h"

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::seconds;

constexpr char kDatabase[] = "soak";
constexpr seconds kBetweenSamples{5};
constexpr seconds kBetweenSteps{10};
// Long enough for more changes than its socket and its queue hold.
constexpr seconds kReaderStopped{25};
constexpr seconds kLongestCatchUp{120};
// Small, for gaps to come about.
constexpr char kQueueLimit[] = "--queue-limit=8192";

class Soak {
 public:
  Soak(std::chrono::minutes length, const std::filesystem::path &folder)
      : folder_(folder), end_(Clock::now() + length), journal_(folder), database_(ORVDB_MARIADB_SCRIPT, folder / "db") {
    createTables();
    startServer();
    crew_.emplace(folder_, std::vector<std::string>{database_.connectionFile(), kDatabase}, journal_);
  }

  void run() {
    pass(kBetweenSteps);
    for (std::size_t step = 0; Clock::now() < end_; ++step) {
      (this->*kSteps[step % std::size(kSteps)])();
      pass(kBetweenSteps);
    }
    compare();
    crew_->end();
    endServer(SIGTERM);
    journal_.event("end");
  }

 private:
  // --- the steps -----------------------------------------------------------------------------------------------------

  void killServer() { restartServer(SIGKILL, "server_killed"); }
  void stopServer() { restartServer(SIGTERM, "server_ended"); }

  void restartServer(int signal, const char *what) {
    endServer(signal);
    journal_.event(what);
    pass(std::chrono::milliseconds(std::uniform_int_distribution(0, 3000)(random_)));
    startServer();
  }

  void killDatabase() { restartDatabase(SIGKILL, "database_killed"); }
  void stopDatabase() { restartDatabase(SIGTERM, "database_ended"); }

  void restartDatabase(int signal, const char *what) {
    database_.end(signal);
    journal_.event(what);
    pass(std::chrono::milliseconds(std::uniform_int_distribution(0, 5000)(random_)));
    database_.start();
  }

  void stopReader() {
    const auto &readers = crew_->readers();
    const auto &reader = readers[std::uniform_int_distribution<std::size_t>(0, readers.size() - 1)(random_)];
    journal_.event("reader_stopped", reader.name);
    reader.program->signal(SIGSTOP);
    pass(kReaderStopped);
    reader.program->signal(SIGCONT);
  }

  // Whoever has missed a change has been told that there may be one.
  void compare() {
    if (!crew_->pause()) journal_.event("unplanned_end", "a program writes on");
    AdminConnection connection = RestartedDatabase::connect(kDatabase);
    const std::string right = rows(connection, kSlots, "value") + rows(connection, kItems, "owner, value");
    for (const Crew::Reader &reader : crew_->readers()) {
      const bool isRight = waitUntil([&] { return readFile(reader.copy) == right; }, kLongestCatchUp);
      journal_.event(isRight ? "copy_right" : "copy_wrong",
                     reader.name + "; changes since the last gap: " + std::to_string(reader.tally->heardSinceTold));
    }
    crew_->goOn();
  }

  // Long enough for the last sweep after a restart to be far away: what is missed now is not made good by chance.
  void quietTime() {
    for (int i = 0; i < 6; ++i)
      pass(kBetweenSteps);
  }

  static constexpr void (Soak::*kSteps[])() = {&Soak::killServer, &Soak::stopDatabase, &Soak::stopReader,
                                               &Soak::compare,    &Soak::killDatabase, &Soak::stopServer,
                                               &Soak::compare,    &Soak::quietTime,    &Soak::compare};

  // --------------------------------------------------------------------------------------------------------------------

  static void createTables() {
    AdminConnection connection = RestartedDatabase::connect();
    connection.query(std::string("CREATE DATABASE ") + kDatabase);
    connection.query(std::string("USE ") + kDatabase);
    for (const char *create : {kCreateSlots, kCreateItems, kCreateDrafts, kCreateFamily})
      connection.query(create);
    connection.query("INSERT INTO slots SELECT seq, 0 FROM seq_1_to_" + std::to_string(kWriters * kSlotsOfOneWriter));
    connection.query("INSERT INTO drafts VALUES (1, 0)");
  }

  static std::string rows(AdminConnection &connection, const std::string &table, const std::string &columns) {
    std::string text;
    std::string select = "SELECT _id, ";
    select.append(columns).append(" FROM ").append(table).append(" ORDER BY _id");
    for (const Row &row : connection.query(select)) {
      text += table;
      for (const auto &column : row)
        text.append(" ").append(*column);
      text += '\n';
    }
    return text;
  }

  void startServer() {
    server_.reset();
    server_.emplace(std::vector<std::string>{ORVDB_SERVER_PROGRAM, kQueueLimit, "--status="}, folder_ / "server.log");
    server_->waitForOutput("listening on");
  }

  void endServer(int signal) {
    server_->signal(signal);
    const int status = server_->waitForExit();
    if (signal == SIGTERM && status != 0)
      journal_.event("unplanned_end", "server with status " + std::to_string(status));
  }

  // Lets the time go by.
  void pass(std::chrono::milliseconds span) {
    const auto until = Clock::now() + span;
    do {
      crew_->lookAfter();
      sampleIfDue();
      std::this_thread::sleep_for(std::chrono::milliseconds(100));
    } while (Clock::now() < until);
  }

  void sampleIfDue() {
    if (Clock::now() < nextSample_) return;
    nextSample_ = Clock::now() + kBetweenSamples;
    crew_->sample();
    const MappedTally none(folder_ / "none.tally");
    if (server_->isRunning()) journal_.sample("server", server_->pid(), *none);
    journal_.sample("database", database_.pid(), *none);
  }

  const std::filesystem::path folder_;
  const Clock::time_point end_;
  RunJournal journal_;
  RestartedDatabase database_;
  std::optional<Program> server_;
  std::optional<Crew> crew_;
  Clock::time_point nextSample_ = Clock::now();
  std::mt19937 random_{std::random_device{}()};
};

}  // namespace

int main(int argc, char **argv) {
  if (argc != 3) return 2;
  try {
    if (!inPrivateRoot()) throw std::runtime_error("run it by script/soak: it needs a private root");
    Soak(std::chrono::minutes(std::stoi(argv[1])), argv[2]).run();
  } catch (const std::exception &problem) {
    std::cerr << "soak: " << problem.what() << std::endl;
    return 1;
  }
  return 0;
}

#include <signal.h>
#include <sys/stat.h>

#include <fstream>
#include <mutex>

#include "examples/example_fixture.h"

namespace {

constexpr char kRows[] = "SELECT COUNT(*) FROM readings";
constexpr char kDifferentRows[] = "SELECT COUNT(DISTINCT sensor, value) FROM readings";

// What this process is told of, in order. Never destroyed: the library's thread may still be adding to it.
class Heard {
 public:
  static void add(const char *, const char *table, _orv_db_action_t action, unsigned long long row, void *heard) {
    auto &self = *static_cast<Heard *>(heard);
    const std::lock_guard guard(self.mutex_);
    self.changes_.push_back(std::string(table) + ' ' + std::to_string(action) + ' ' + std::to_string(row));
  }
  Words changes() {
    const std::lock_guard guard(mutex_);
    return changes_;
  }

 private:
  std::mutex mutex_;
  Words changes_;
};

class BatchLoad : public ExampleTest {
 protected:
  std::string file() const { return folder() / "readings"; }
  int load() { return run(ORVDB_BATCH_LOAD, {file()}); }

  static void write(std::ostream &&file, int first, int last) {
    for (int row = first; row <= last; ++row)
      file << "sensor" << row << ' ' << row << ".5\n";
    file.flush();
  }

  void expectEachRowOnce(int rows) {
    EXPECT_EQ(admin().value(kRows), std::to_string(rows));
    EXPECT_EQ(admin().value(kDifferentRows), std::to_string(rows));
    EXPECT_EQ(admin().value("SELECT COUNT(*) FROM readings WHERE sensor = CONCAT('sensor', FLOOR(value))"),
              std::to_string(rows));
  }
};

TEST_F(BatchLoad, IsAnnouncedOncePerCommit) {
  startServer();
  handle();
  static Heard &heard = *new Heard;
  ASSERT_EQ(orv_db_register_callback(db(), "readings", ORV_DB_ACTION_ALL, &heard, 0, Heard::add), ORV_DB_OK);
  ASSERT_EQ(orv_db_register_callback(db(), "jobs", ORV_DB_ACTION_ALL, &heard, 0, Heard::add), ORV_DB_OK);
  write(std::ofstream(file()), 1, 1250);
  EXPECT_EQ(load(), 0);
  expectEachRowOnce(1250);
  // What comes after it, so that all has come before.
  EXPECT_EQ(run(ORVDB_JOB_QUEUE, {"add", "job"}), 0);
  EXPECT_TRUE(waitUntil([&] { return !heard.changes().empty() && heard.changes().back() == "jobs 1 1"; }));
  EXPECT_EQ(heard.changes(), (Words{"readings 7 0", "readings 7 0", "readings 7 0", "jobs 1 1"}));
}

TEST_F(BatchLoad, RunAgainAddsNothing) {
  write(std::ofstream(file()), 1, 501);
  EXPECT_EQ(load(), 0);
  EXPECT_EQ(load(), 0);
  expectEachRowOnce(501);
}

TEST_F(BatchLoad, GrownFileIsLoadedFromWhereItHasGrown) {
  write(std::ofstream(file()), 1, 700);
  EXPECT_EQ(load(), 0);
  write(std::ofstream(file(), std::ios::app), 701, 1200);
  EXPECT_EQ(load(), 0);
  expectEachRowOnce(1200);
}

class InterruptedBatchLoad : public BatchLoad, public testing::WithParamInterface<int> {};

TEST_P(InterruptedBatchLoad, GoesOnWhereItWasInterrupted) {
  ASSERT_EQ(mkfifo(file().c_str(), 0600), 0);
  Program loader = start(ORVDB_BATCH_LOAD, {file()});
  {
    std::ofstream pipe(file());
    write(std::move(pipe), 1, 700);
    EXPECT_TRUE(waitForValue(kRows, "500"));
    loader.signal(GetParam());
    EXPECT_EQ(loader.waitForExit(), 128 + GetParam());
  }
  std::filesystem::remove(file());
  write(std::ofstream(file()), 1, 1250);
  EXPECT_EQ(load(), 0);
  expectEachRowOnce(1250);
}

INSTANTIATE_TEST_SUITE_P(By, InterruptedBatchLoad, testing::Values(SIGINT, SIGTERM, SIGKILL));

// Wherever it is when its connection breaks: it notices or it does not, and ends then or does not.
TEST_F(BatchLoad, HoldsEachRowOnceThoughTheConnectionBreaksInsideATransaction) {
  write(std::ofstream(file()), 1, 5000);
  int broken = 0;
  for (int status = -1; status != 0 && broken < 100;) {
    Program loader = start(ORVDB_BATCH_LOAD, {file()});
    const std::string rows = admin().value(kRows);
    while (loader.isRunning()) {
      const bool goesOn = waitUntil([&] { return !loader.isRunning() || admin().value(kRows) != rows; });
      ASSERT_TRUE(goesOn);
      if (broken < 20 && loader.isRunning()) {
        killConnections();
        ++broken;
      }
    }
    status = loader.waitForExit();
  }
  EXPECT_GE(broken, 1);
  expectEachRowOnce(5000);
}

TEST_F(BatchLoad, LineThatIsNoReadingEndsItAndIsNamed) {
  std::ofstream(file()) << "kitchen 21.5\ncellar\n";
  Program loader = start(ORVDB_BATCH_LOAD, {file()});
  EXPECT_EQ(loader.waitForExit(), 1);
  EXPECT_EQ(loader.output(), "batch_load: line 2 is no reading\n");
  EXPECT_EQ(admin().value(kRows), "0");
}

TEST_F(BatchLoad, FileThatIsNotThereIsNamed) {
  Program loader = start(ORVDB_BATCH_LOAD, {"/nowhere"});
  EXPECT_EQ(loader.waitForExit(), 1);
  EXPECT_EQ(loader.output(), "batch_load: cannot read /nowhere\n");
}

TEST_F(BatchLoad, FileThatEndsInAFailureToReadIsNotTakenForAWholeOne) {
  Program loader = start(ORVDB_BATCH_LOAD, {"/proc"});  // a folder can be opened, but not read
  EXPECT_EQ(loader.waitForExit(), 1);
  EXPECT_EQ(loader.output(), "batch_load: the file cannot be read to its end\n");
}

}  // namespace

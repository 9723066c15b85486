#include "restart/restart_fixture.h"

#include <signal.h>
#include <stdlib.h>

#include <fstream>
#include <iostream>
#include <stdexcept>

#include "restart/scores.h"

namespace {

// Tens of thousands of rows are never needed: a writer that pauses leaves time to the readers and the database.
constexpr char kPauseMicroseconds[] = "3000";

}  // namespace

RestartTest::RestartTest() {
  const auto seed = std::random_device{}();
  std::cout << "random seed " << seed << std::endl;
  random_.seed(seed);
  admin().query(kCreateScores);
  admin().query("INSERT INTO scores (team, score) SELECT seq % " + std::to_string(kTeams) + ", seq FROM seq_1_to_" +
                std::to_string(kPlayers));
}

Program RestartTest::launch(const std::string &program, const std::vector<std::string> &arguments) {
  std::vector<std::string> command{program};
  command.insert(command.end(), arguments.begin(), arguments.end());
  return {command, nextFile("output")};
}

std::chrono::milliseconds RestartTest::between(int least, int most) {
  return std::chrono::milliseconds(std::uniform_int_distribution(least, most)(random_));
}

// --- the server ------------------------------------------------------------------------------------------------------

void RestartTest::startServer(const std::vector<std::string> &options) {
  std::vector<std::string> arguments{"--status", statusPath()};
  arguments.insert(arguments.end(), options.begin(), options.end());
  server_.reset();
  server_.emplace(launch(ORVDB_SERVER_PROGRAM, arguments));
  server_->waitForOutput("listening on");
}

void RestartTest::killServer() {
  server_->signal(SIGKILL);
  server_->waitForExit();
}

// --- readers and writers ---------------------------------------------------------------------------------------------

void RestartTest::startReaders(int count) {
  for (int i = 0; i < count; ++i) {
    const std::filesystem::path copy = nextFile("copy");
    readers_.push_back({launch(ORVDB_CACHE_READER, {std::getenv("ORVDB_TEST_MARIADB"), db(), copy}), copy});
  }
  for (const Reader &reader : readers_) {
    if (!waitUntil([&] { return std::filesystem::exists(reader.copy); })) {
      throw std::runtime_error("a reader does not load the table: " + reader.program.output());
    }
  }
}

void RestartTest::startWriters(int count) {
  for (int i = 0; i < count; ++i) {
    const std::filesystem::path times = nextFile("times");
    writers_.push_back(
        {launch(ORVDB_CACHE_WRITER, {std::getenv("ORVDB_TEST_MARIADB"), db(), times, kPauseMicroseconds}), times});
  }
  for (Writer &writer : writers_)
    writer.program.waitForOutput("ready");
}

void RestartTest::idleWriters() {
  for (const Writer &writer : writers_)
    writer.program.signal(SIGUSR1);
  for (Writer &writer : writers_)
    writer.program.waitForOutput("idle");
}

void RestartTest::endWriters() {
  for (const Writer &writer : writers_)
    writer.program.signal(SIGTERM);
  for (Writer &writer : writers_) {
    EXPECT_EQ(writer.program.waitForExit(), 0) << writer.program.output();
    std::ifstream times(writer.times);
    int status = 0;
    for (std::uint64_t nanoseconds = 0; times >> status >> nanoseconds;) {
      notifyTimes_.all.push_back(nanoseconds);
      if (status == ORV_DB_OK) notifyTimes_.written.push_back(nanoseconds);
    }
  }
  writers_.clear();
}

void RestartTest::waitForInserts(long count) {
  const auto lastRow = [this] { return std::stol(admin().value("SELECT MAX(_id) FROM scores")); };
  const long wanted = lastRow() + count;
  if (!waitUntil([&] { return lastRow() >= wanted; })) throw std::runtime_error("the writers do not write");
}

// --- copies ----------------------------------------------------------------------------------------------------------

std::string RestartTest::table() {
  std::string text;
  for (const Row &row : admin().query("SELECT CONCAT(_id, ' ', team, ' ', score) FROM scores ORDER BY _id"))
    text += *row.at(0) + '\n';
  return text;
}

std::size_t RestartTest::wrongCopies(std::chrono::seconds patience) {
  const std::string right = table();
  std::list<const Reader *> wrong;
  for (const Reader &reader : readers_)
    wrong.push_back(&reader);
  waitUntil(
      [&] {
        wrong.remove_if([&](const Reader *reader) { return readFile(reader->copy) == right; });
        return wrong.empty();
      },
      patience);
  return wrong.size();
}

bool RestartTest::isReaderConnected(const Reader &reader) const {
  return serverStatus().connectionsOf(reader.program.pid()) == 1;
}

// The real library in many processes: writers that change a table, readers that keep a copy of it, and a notification
// server, at the one fixed path, that is killed, stopped and started again.
#pragma once

#include <chrono>
#include <filesystem>
#include <list>
#include <optional>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "support/database.h"
#include "support/program.h"
#include "support/server_status.h"
#include "support/temporary_folder.h"

class RestartTest : public DatabaseTest {
 public:
  RestartTest();

 protected:
  struct Reader {
    Program program;
    std::filesystem::path copy;
  };
  struct Writer {
    Program program;
    std::filesystem::path times;
  };

  void startServer(const std::vector<std::string> &options = {});
  void killServer();
  ServerStatus serverStatus() const { return ServerStatus(statusPath()); }
  Program &server() { return *server_; }

  // Returns once each has loaded the table.
  void startReaders(int count);
  void startWriters(int count);
  // They write no more and stay, or end; both return once all have.
  void idleWriters();
  void endWriters();
  // Returns once there are so many more rows than ever before.
  void waitForInserts(long count);

  // How many readers do not have the right copy, or do not get it in time. Nobody may be writing.
  std::size_t wrongCopies(std::chrono::seconds patience = kPatience);
  bool isReaderConnected(const Reader &reader) const;

  // The nanoseconds that orv_db_notify_change() took, in writers that have ended since this was last asked.
  struct NotifyTimes {
    std::vector<std::uint64_t> all;
    std::vector<std::uint64_t> written;  // of the calls that had a server to write to
  };
  NotifyTimes takeNotifyTimes() { return std::exchange(notifyTimes_, {}); }

  Program launch(const std::string &program, const std::vector<std::string> &arguments);
  std::chrono::milliseconds between(int least, int most);

 private:
  // Before the programs that write there.
  const TemporaryFolder folder_;

 protected:
  std::list<Reader> readers_;
  std::list<Writer> writers_;
  std::mt19937 random_;

 private:
  const std::filesystem::path &folder() const { return folder_.path(); }
  std::filesystem::path statusPath() const { return folder() / "status.sock"; }
  std::filesystem::path nextFile(const std::string &name) { return folder() / (name + std::to_string(++files_)); }
  std::string table();

  int files_ = 0;
  std::optional<Program> server_;
  NotifyTimes notifyTimes_;
};

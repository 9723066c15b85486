// The demo's programs on a database of the test's own, with a notification server.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "support/database.h"
#include "support/program.h"
#include "support/temporary_folder.h"

class DemoTest : public DatabaseTest {
 public:
  explicit DemoTest(std::vector<std::string> serverOptions = {});

 protected:
  Program startServer();
  // The watcher has registered when this returns.
  Program startWatcher();

  // Loads `usbIds` with a watcher beside it, whose log is log() afterwards.
  void load(const std::filesystem::path &usbIds);
  // An ID database with enough rows for every kind of change.
  std::filesystem::path writeSmallUsbIds() const;

  // Whether the checker finds that log and database are what was written. What it says goes to verdict().
  bool check();
  std::string verdict() const { return readFile(folder() / "verdict"); }

  std::vector<std::string> log() const;
  void replaceLog(const std::vector<std::string> &lines) const;

 private:
  const std::filesystem::path &folder() const { return folder_.path(); }

  const TemporaryFolder folder_;
  const std::vector<std::string> serverOptions_;
};

// The run's database server, which is started again and again.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "support/database.h"
#include "support/program.h"

class RestartedDatabase {
 public:
  // Lets script/mariadb make one in `folder`, which must be of no use to anybody else, and takes it over.
  RestartedDatabase(const std::string &script, const std::filesystem::path &folder);

  pid_t pid() const { return program_->pid(); }
  std::filesystem::path connectionFile() const { return folder_ / "connection"; }

  // Ends it; returns once it is gone.
  void end(int signal);
  // Returns once it answers.
  void start();

  static AdminConnection connect(const std::string &database = "") {
    return AdminConnection(databaseServer(), database);
  }

 private:
  const std::filesystem::path folder_;
  std::vector<std::string> command_;
  std::optional<Program> program_;
};

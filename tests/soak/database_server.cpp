#include "soak/database_server.h"

#include <signal.h>
#include <stdlib.h>
#include <unistd.h>

#include <sstream>
#include <stdexcept>

#include "support/process.h"
#include "support/wait.h"

namespace {

constexpr std::chrono::seconds kLongestStart{180};
constexpr std::chrono::seconds kLongestEnd{120};

std::vector<std::string> commandLine(pid_t pid) {
  std::istringstream text(readFile("/proc/" + std::to_string(pid) + "/cmdline"));
  std::vector<std::string> words;
  for (std::string word; std::getline(text, word, '\0');)
    words.push_back(word);
  if (words.empty()) throw std::runtime_error("the database server has no command line");
  words[0] = std::filesystem::read_symlink("/proc/" + std::to_string(pid) + "/exe");
  return words;
}

pid_t serverOf(const std::filesystem::path &connectionFile) {
  const std::string text = readFile(connectionFile);
  return std::stoi(text.substr(text.find("\nPID=") + 5));
}

}  // namespace

RestartedDatabase::RestartedDatabase(const std::string &script, const std::filesystem::path &folder) : folder_(folder) {
  Program starter({script, "start", folder, "--with", std::to_string(getpid())}, folder.string() + ".log");
  if (starter.waitForExit(kLongestStart) != 0) throw std::runtime_error(starter.output());
  setenv("ORVDB_TEST_MARIADB", connectionFile().c_str(), 1);
  const pid_t first = serverOf(connectionFile());
  command_ = commandLine(first);
  // What is committed outlives the server when that is killed.
  command_.insert(command_.end(), {"--innodb-flush-log-at-trx-commit=2", "--innodb-doublewrite=1"});
  kill(first, SIGTERM);
  if (!waitUntil([first] { return !isRunning(first); }, kLongestEnd)) throw std::runtime_error("mariadbd does not end");
  start();
}

void RestartedDatabase::end(int signal) {
  program_->signal(signal);
  program_->waitForExit(kLongestEnd);
}

void RestartedDatabase::start() {
  program_.reset();
  program_.emplace(command_, folder_.string() + ".log");
  const bool answers = waitUntil(
      [this] {
        if (!program_->isRunning()) throw std::runtime_error("mariadbd has ended:\n" + program_->output());
        try {
          connect();
          return true;
        } catch (const std::runtime_error &) {
          return false;
        }
      },
      kLongestStart);
  if (!answers) throw std::runtime_error("mariadbd does not answer:\n" + program_->output());
}

// The twenty processes of the run.
#pragma once

#include <filesystem>
#include <list>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "soak/journal.h"
#include "soak/tally.h"
#include "support/program.h"

class Crew {
 public:
  // `words` are what every program is told first: where the database server is, and which database.
  Crew(std::filesystem::path folder, std::vector<std::string> words, RunJournal &journal);

  // Starts a visitor anew that has gone, and reports whatever has ended without being asked.
  void lookAfter();
  void sample() const;

  // Returns whether all that write do rest, in time.
  bool pause();
  void goOn();

  // One of those that keep copies.
  struct Reader {
    std::string name;
    std::filesystem::path copy;
    Program *program;
    const Tally *tally;
  };
  const std::vector<Reader> &readers() const { return readers_; }

  void end();

 private:
  struct Member {
    Member(std::string itsName, std::vector<std::string> itsCommand, const std::string &tallyPath)
        : name(std::move(itsName)), command(std::move(itsCommand)), tally(tallyPath) {}

    const std::string name;
    const std::vector<std::string> command;
    const MappedTally tally;
    bool comesAndGoes = false;
    std::optional<Program> program;
  };

  Member &add(const std::string &name, const std::string &program, const std::vector<std::string> &arguments);
  void start(Member &member);
  void reportEnd(Member &member);
  static bool isAtRest(Member &member);

  const std::filesystem::path folder_;
  const std::vector<std::string> words_;
  RunJournal &journal_;
  std::list<Member> members_;
  std::vector<Reader> readers_;
  bool isPaused_ = false;
};

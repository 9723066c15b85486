#include "soak/crew.h"

#include <signal.h>

#include <algorithm>
#include <utility>

#include "soak/tables.h"
#include "support/wait.h"

namespace {

constexpr int kReaders = 8;
constexpr int kForkers = 3;
constexpr int kVisitors = 4;

// More than the time between two changes: the last reader is told of gaps again and again.
constexpr char kDelayOfSlowReader[] = "60";

constexpr std::chrono::seconds kLongestWrite{120};
constexpr std::chrono::seconds kLongestEnd{150};

}  // namespace

Crew::Crew(std::filesystem::path folder, std::vector<std::string> words, RunJournal &journal)
    : folder_(std::move(folder)), words_(std::move(words)), journal_(journal) {
  for (int i = 1; i <= kReaders; ++i) {
    const std::string name = "reader" + std::to_string(i);
    const std::filesystem::path copy = folder_ / (name + ".copy");
    Member &member = add(name, ORVDB_SOAK_READER, {copy, i == kReaders ? kDelayOfSlowReader : "0"});
    readers_.push_back({name, copy, &*member.program, &*member.tally});
  }
  for (int i = 0; i < kWriters; ++i)
    add("writer" + std::to_string(i + 1), ORVDB_SOAK_WRITER, {std::to_string(1 + i * kSlotsOfOneWriter)});
  for (int i = 1; i <= kForkers; ++i)
    add("forker" + std::to_string(i), ORVDB_SOAK_FORKER, {});
  for (int i = 1; i <= kVisitors; ++i)
    add("visitor" + std::to_string(i), ORVDB_SOAK_VISITOR, {}).comesAndGoes = true;
}

Crew::Member &Crew::add(const std::string &name, const std::string &program,
                        const std::vector<std::string> &arguments) {
  const std::filesystem::path tally = folder_ / (name + ".tally");
  std::vector<std::string> command{program};
  command.insert(command.end(), words_.begin(), words_.end());
  command.push_back(tally);
  command.insert(command.end(), arguments.begin(), arguments.end());
  Member &member = members_.emplace_back(name, command, tally);
  start(member);
  return member;
}

void Crew::start(Member &member) {
  member.program.reset();
  member.tally->isResting = 0;
  member.program.emplace(member.command, folder_ / (member.name + ".log"));
}

void Crew::reportEnd(Member &member) {
  const int status = member.program->waitForExit();
  if (!member.comesAndGoes || status != 0)
    journal_.event("unplanned_end", member.name + " with status " + std::to_string(status));
}

void Crew::lookAfter() {
  for (Member &member : members_) {
    if (member.program->isRunning()) continue;
    reportEnd(member);
    if (!isPaused_) start(member);
  }
}

void Crew::sample() const {
  for (const Member &member : members_)
    journal_.sample(member.name, member.program->pid(), *member.tally);
}

// --- pauses ----------------------------------------------------------------------------------------------------------

// Readers and those that fork write nothing that is compared.
bool Crew::isAtRest(Member &member) {
  const bool doesWrite = member.comesAndGoes || member.name.find("writer") == 0;
  return !doesWrite || member.tally->isResting != 0 || !member.program->isRunning();
}

bool Crew::pause() {
  isPaused_ = true;
  for (const Member &member : members_)
    member.tally->isPaused = 1;
  return waitUntil([this] { return std::all_of(members_.begin(), members_.end(), isAtRest); }, kLongestWrite);
}

void Crew::goOn() {
  isPaused_ = false;
  for (const Member &member : members_)
    member.tally->isPaused = 0;
}

// ----------------------------------------------------------------------------------------------------------------------

void Crew::end() {
  for (const Member &member : members_)
    member.program->signal(SIGTERM);
  for (Member &member : members_) {
    const int status = member.program->waitForExit(kLongestEnd);
    if (status != 0) journal_.event("unplanned_end", member.name + " with status " + std::to_string(status));
  }
}

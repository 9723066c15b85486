#include "soak/journal.h"

#include <iomanip>
#include <iostream>
#include <iterator>
#include <optional>

namespace {

struct Needs {
  long residentKilobytes = 0;
  long threads = 0;
  long descriptors = 0;
};

long countDescriptors(const std::string &process) {
  std::error_code gone;
  const std::filesystem::directory_iterator files(process + "/fd", gone);
  return gone ? 0 : std::distance(begin(files), end(files));
}

// A process that is ending has no memory any more.
std::optional<Needs> needsOf(pid_t pid) {
  const std::string process = "/proc/" + std::to_string(pid);
  Needs needs;
  std::ifstream status(process + "/status");
  for (std::string word; status >> word;) {
    if (word == "VmRSS:") status >> needs.residentKilobytes;
    if (word == "Threads:") status >> needs.threads;
  }
  needs.descriptors = countDescriptors(process);
  if (needs.residentKilobytes == 0 || needs.threads == 0 || needs.descriptors == 0) return std::nullopt;
  return needs;
}

}  // namespace

RunJournal::RunJournal(const std::filesystem::path &folder)
    : events_(folder / "events.csv"), samples_(folder / "samples.csv") {
  events_ << "seconds,what,detail" << std::endl;
  samples_ << "seconds,process,resident_kib,descriptors,threads,heard,told,written,refused,rounds,failed" << std::endl;
  samples_ << std::fixed << std::setprecision(1);
  events_ << std::fixed << std::setprecision(1);
}

double RunJournal::seconds() const {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin_).count();
}

void RunJournal::event(const std::string &what, const std::string &detail) {
  events_ << seconds() << ',' << what << ',' << detail << std::endl;
  std::cout << static_cast<long>(seconds()) << " s: " << what << ' ' << detail << std::endl;
}

void RunJournal::sample(const std::string &process, pid_t pid, const Tally &tally) {
  const std::optional<Needs> needs = needsOf(pid);
  if (!needs) return;
  samples_ << seconds() << ',' << process << ',' << needs->residentKilobytes << ',' << needs->descriptors << ','
           << needs->threads;
  for (const Tally::Number *number :
       {&tally.heard, &tally.told, &tally.written, &tally.refused, &tally.rounds, &tally.failed})
    samples_ << ',' << *number;
  samples_ << std::endl;
}

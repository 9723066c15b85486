#include "soak/judgement.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <map>
#include <sstream>

namespace {

// What a process may need more in the last quarter than in the first: an allocator's leftovers.
constexpr long kMostGrowthKilobytes = 512;
// Connections of visitors and children, of which now more, now fewer are there.
constexpr long kChangingConnections = 4;
constexpr std::size_t kLeastProcesses = 20;
// In this part of the run all memory that is needed once is taken.
constexpr double kWarmUp = 0.2;

enum Column { kResident, kDescriptors, kThreads, kHeard, kTold, kWritten, kRefused, kRounds, kFailed, kColumns };

struct Sample {
  double seconds;
  std::array<long, kColumns> numbers;
};
using Samples = std::vector<Sample>;

std::map<std::string, Samples> readSamples(std::istream &file) {
  std::map<std::string, Samples> processes;
  std::string line;
  std::getline(file, line);
  while (std::getline(file, line)) {
    std::replace(line.begin(), line.end(), ',', ' ');
    std::istringstream fields(line);
    Sample sample{};
    std::string process;
    fields >> sample.seconds >> process;
    for (long &number : sample.numbers)
      fields >> number;
    if (fields) processes[process].push_back(sample);
  }
  return processes;
}

// --- what happened ---------------------------------------------------------------------------------------------------

std::vector<std::string> readEvents(std::istream &file) {
  std::vector<std::string> events;
  std::string line;
  std::getline(file, line);
  while (std::getline(file, line)) {
    const std::size_t comma = line.find(',');
    if (comma != std::string::npos) events.push_back(line.substr(comma + 1));
  }
  return events;
}

bool isEvent(const std::string &event, const std::string &what) { return event.find(what + ',') == 0; }

void judgeEvents(const std::vector<std::string> &events, std::vector<Finding> &findings) {
  const auto count = [&](const std::string &what) {
    return std::count_if(events.begin(), events.end(), [&](const std::string &event) { return isEvent(event, what); });
  };
  for (const char *what : {"server_killed", "server_ended", "database_killed", "database_ended", "reader_stopped"})
    findings.push_back({count(what) > 0, std::string(what) + ": " + std::to_string(count(what)) + " times"});
  findings.push_back({count("copy_right") > 0 && count("copy_wrong") == 0,
                      "copies compared with the database: " + std::to_string(count("copy_right")) + " right, " +
                          std::to_string(count("copy_wrong")) + " wrong"});
  findings.push_back({count("unplanned_end") == 0, "unplanned: " + std::to_string(count("unplanned_end"))});
  findings.push_back({!events.empty() && isEvent(events.back(), "end"), "the run came to its end"});
}

// --- what each process needed ----------------------------------------------------------------------------------------

struct Quarters {
  Samples first;
  Samples last;
};

Quarters quarters(const Samples &samples, double begin, double end) {
  const double quarter = (end - begin) / 4;
  Quarters found;
  for (const Sample &sample : samples) {
    if (sample.seconds >= begin && sample.seconds <= begin + quarter) found.first.push_back(sample);
    if (sample.seconds >= end - quarter) found.last.push_back(sample);
  }
  return found;
}

long median(const Samples &samples, Column column) {
  std::vector<long> numbers;
  std::transform(samples.begin(), samples.end(), std::back_inserter(numbers),
                 [column](const Sample &sample) { return sample.numbers[column]; });
  const auto middle = numbers.begin() + static_cast<std::ptrdiff_t>(numbers.size() / 2);
  std::nth_element(numbers.begin(), middle, numbers.end());
  return *middle;
}

struct Change {
  Change(const Quarters &found, Column column)
      : before(median(found.first, column)), after(median(found.last, column)) {}
  long grown() const { return after - before; }
  std::string text() const { return std::to_string(before) + " -> " + std::to_string(after); }

  long before;
  long after;
};

bool isKind(const std::string &process, const std::string &kind) { return process.find(kind) == 0; }

// What the last quarter must have more of at its end.
struct Work {
  const char *kind;
  Column column;
  const char *name;
};
constexpr Work kWorks[] = {{"writer", kWritten, "written"},
                           {"reader", kHeard, "heard"},
                           {"forker", kRounds, "children"},
                           {"visitor", kRounds, "visits"}};

void judgeWork(const std::string &process, const Samples &last, Finding &finding) {
  for (const Work &work : kWorks) {
    if (!isKind(process, work.kind)) continue;
    const long done = last.back().numbers[work.column];
    finding.isGood = finding.isGood && done > last.front().numbers[work.column];
    finding.text += "; " + std::string(work.name) + ' ' + std::to_string(done);
  }
  const long failed = last.back().numbers[kFailed];
  finding.isGood = finding.isGood && failed == 0;
  if (failed != 0) finding.text += "; failed " + std::to_string(failed);
}

// The database server is not ours to judge.
Finding judgeProcess(const std::string &process, const Quarters &found) {
  if (found.first.empty() || found.last.empty()) return {false, process + ": not there all the time"};
  const Change resident(found, kResident);
  const Change descriptors(found, kDescriptors);
  const Change threads(found, kThreads);
  Finding finding{true, process + ": KiB " + resident.text() + "; descriptors " + descriptors.text() + "; threads " +
                            threads.text()};
  if (process == "database") return finding;
  const long slack = process == "server" ? kChangingConnections : 0;
  finding.isGood =
      resident.grown() <= kMostGrowthKilobytes && std::abs(descriptors.grown()) <= slack && threads.grown() == 0;
  judgeWork(process, found.last, finding);
  return finding;
}

long toldInAll(const std::map<std::string, Samples> &processes) {
  long told = 0;
  for (const auto &[process, samples] : processes)
    told += samples.back().numbers[kTold];
  return told;
}

}  // namespace

std::vector<Finding> judge(std::istream &samples, std::istream &events) {
  std::vector<Finding> findings;
  judgeEvents(readEvents(events), findings);

  const std::map<std::string, Samples> processes = readSamples(samples);
  double end = 0;
  for (const auto &[process, taken] : processes)
    end = std::max(end, taken.back().seconds);
  findings.push_back({processes.size() >= kLeastProcesses, std::to_string(processes.size()) + " processes"});
  findings.push_back({toldInAll(processes) > 0, "gaps told: " + std::to_string(toldInAll(processes))});
  for (const auto &[process, taken] : processes)
    findings.push_back(judgeProcess(process, quarters(taken, end * kWarmUp, end)));
  return findings;
}

#include "frame/bench.h"

#include <getopt.h>

#include <chrono>
#include <cstdio>
#include <exception>
#include <fstream>
#include <iostream>
#include <nlohmann/json.hpp>

#include "frame/pinning.h"
#include "support/private_root.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kCannotIsolate = 125;
// Long beside the clock, short beside what disturbs a shared machine.
constexpr double kBlockSeconds = 0.0005;
// Of the time of a row. A curve has many points, and what is looked for is its slope.
constexpr double kShareOfPoint = 0.3;

double secondsSince(Clock::time_point begin) { return std::chrono::duration<double>(Clock::now() - begin).count(); }

double shareOf(const Subject &subject) { return subject.place.curve.empty() ? 1 : kShareOfPoint; }

double timed(const Repeat &work, std::size_t count) {
  const auto begin = Clock::now();
  work(count);
  return secondsSince(begin) / static_cast<double>(count);
}

struct Arguments {
  std::string database;
  std::string output;
  Limits limits;
};

Arguments parseArguments(int argc, char **argv) {
  const option known[] = {{"database", required_argument, nullptr, 'd'}, {"output", required_argument, nullptr, 'o'},
                          {"seconds", required_argument, nullptr, 's'},  {"rounds", required_argument, nullptr, 'r'},
                          {"only", required_argument, nullptr, 'n'},     {}};
  Arguments arguments;
  for (int choice; (choice = getopt_long(argc, argv, "", known, nullptr)) != -1;) {
    switch (choice) {
      case 'd':
        arguments.database = optarg;
        break;
      case 'o':
        arguments.output = optarg;
        break;
      case 's':
        arguments.limits.seconds = std::stod(optarg);
        break;
      case 'r':
        arguments.limits.rounds = std::stoul(optarg);
        break;
      case 'n':
        arguments.limits.only = optarg;
        break;
      default:
        throw std::invalid_argument("--database FILE, --output FILE, --seconds N, --rounds N, --only TEXT");
    }
  }
  return arguments;
}

void writeRows(const std::string &path, const std::vector<Row> &rows) {
  std::ofstream file(path);
  file << nlohmann::json(rows).dump(1) << '\n' << std::flush;
  if (!file) throw std::runtime_error("cannot write " + path);
}

}  // namespace

void Bench::compare(const Subject &subject, const Repeat &library, const Repeat &reference, const Repeat &prepare) {
  if (!isWanted(subject)) return;
  const auto block = [&](const Repeat &work, std::size_t count) {
    if (prepare) prepare(count);
    return timed(work, count);
  };
  const std::size_t count = blockOf(reference, prepare);
  compareValues(
      subject, [&] { return block(library, count); }, [&] { return block(reference, count); });
}

// Found by the way, the first and slowest runs are over before anything counts.
std::size_t Bench::blockOf(const Repeat &work, const Repeat &prepare) const {
  std::size_t count = 1;
  while (!isTrial()) {
    if (prepare) prepare(count);
    if (timed(work, count) * static_cast<double>(count) >= kBlockSeconds) break;
    count *= 2;
  }
  return count;
}

bool Bench::isEnough(std::size_t pairs, std::size_t leastPairs, double seconds) const {
  if (isTrial()) return pairs >= m_limits.rounds;
  return pairs >= leastPairs && seconds >= m_limits.seconds;
}

void Bench::compareValues(const Subject &subject, const Measure &library, const Measure &reference,
                          std::size_t leastPairs) {
  if (!isWanted(subject)) return;
  if (!isTrial()) library();  // for the caches
  std::vector<double> ours;
  std::vector<double> theirs;
  for (const auto begin = Clock::now(); !isEnough(ours.size(), leastPairs, secondsSince(begin) / shareOf(subject));) {
    const bool oursFirst = ours.size() % 2 == 0;
    if (oursFirst) ours.push_back(library());
    theirs.push_back(reference());
    if (!oursFirst) ours.push_back(library());
  }
  add(subject, ours, theirs);
}

void Bench::measureValues(const Subject &subject, const Measure &library, std::size_t leastValues) {
  if (!isWanted(subject)) return;
  std::vector<double> ours;
  for (const auto begin = Clock::now(); !isEnough(ours.size(), leastValues, secondsSince(begin) / shareOf(subject));)
    ours.push_back(library());
  add(subject, ours, {});
}

void Bench::record(const Subject &subject, double library, double reference) {
  if (isWanted(subject)) add(subject, {library}, {reference});
}

bool Bench::isWanted(const Subject &subject) const { return subject.work.find(m_limits.only) != std::string::npos; }

// Where the reference has nothing to count, a ratio says nothing.
void Bench::add(const Subject &subject, const std::vector<double> &library, const std::vector<double> &reference) {
  Row row{m_group, subject, spreadOf(library), std::nullopt, std::nullopt, library.size()};
  std::vector<double> ratios;
  for (std::size_t i = 0; i < reference.size(); ++i) {
    if (reference[i] > 0) ratios.push_back(library[i] / reference[i]);
  }
  if (!reference.empty()) row.reference = spreadOf(reference);
  if (!ratios.empty()) row.ratio = spreadOf(ratios);
  std::fprintf(stderr, "%s: %s\n", m_group.c_str(), subject.work.c_str());
  m_rows.push_back(std::move(row));
}

int runBench(const std::string &group, int argc, char **argv, const std::function<void(Bench &)> &measure) try {
  const Arguments arguments = parseArguments(argc, argv);
  if (!inPrivateRoot()) {
    std::cerr << "this program runs under the launcher private_root alone\n";
    return kCannotIsolate;
  }
  Bench bench(group, arguments.database, arguments.limits);
  if (!bench.isTrial()) startPinning();
  measure(bench);
  if (!arguments.output.empty()) writeRows(arguments.output, bench.rows());
  return 0;
} catch (const std::exception &problem) {
  std::cerr << group << ": " << problem.what() << '\n';
  return 1;
}

// The runner of a program of benchmarks, which measures library and reference by turns: A B B A.
//
//   int main(int argc, char **argv) {
//     return runBench("database", argc, argv, [](Bench &bench) {
//       bench.compare({"insert", "s", ratioAtMost(1.02), "the same by hand", {}},
//                     [&](std::size_t count) { ... }, [&](std::size_t count) { ... });
//     });
//   }
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "frame/row.h"

// Does a work so many times.
using Repeat = std::function<void(std::size_t count)>;
// Gives one value, in the unit of its row.
using Measure = std::function<double()>;

struct Limits {
  double seconds = 1;      // per row
  std::size_t rounds = 0;  // this many pairs instead of so many seconds
  std::string only;        // rows whose work has this in its name
};

class Bench {
 public:
  Bench(std::string group, std::string connectionFile, Limits limits)
      : m_group(std::move(group)), m_connectionFile(std::move(connectionFile)), m_limits(std::move(limits)) {}

  // The database server's, as script/mariadb writes it.
  const std::string &connectionFile() const { return m_connectionFile; }
  // True where each measurement is made once, to see that it works.
  bool isTrial() const { return m_limits.rounds != 0; }

  // Times library and reference by turns in blocks long enough for the clock. `prepare`, which is not timed, comes
  // before each block.
  void compare(const Subject &subject, const Repeat &library, const Repeat &reference, const Repeat &prepare = {});
  // The same for values that are measured in some other way, over so many pairs at least.
  void compareValues(const Subject &subject, const Measure &library, const Measure &reference,
                     std::size_t leastPairs = 5);
  // For a figure without a reference.
  void measureValues(const Subject &subject, const Measure &library, std::size_t leastValues = 5);
  // For figures that are the same each time.
  void record(const Subject &subject, double library, double reference);

  const std::vector<Row> &rows() const { return m_rows; }

 private:
  bool isWanted(const Subject &subject) const;
  std::size_t blockOf(const Repeat &work, const Repeat &prepare) const;
  bool isEnough(std::size_t pairs, std::size_t leastPairs, double seconds) const;
  void add(const Subject &subject, const std::vector<double> &library, const std::vector<double> &reference);

  std::string m_group;
  std::string m_connectionFile;
  Limits m_limits;
  std::vector<Row> m_rows;
};

// Options of every program:
//   --database FILE   the connection file of a private MariaDB server
//   --output FILE     where the rows go
//   --seconds N       how long a row is measured (1)
//   --rounds N        so many pairs per row instead, without blocks
//   --only TEXT       rows with this in their name alone
// Gives the exit status. Refuses to run where /tmp is the machine's: a live notification server would hear of it all.
int runBench(const std::string &group, int argc, char **argv, const std::function<void(Bench &)> &measure);

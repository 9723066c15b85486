// bench_report FOLDER FORM
//
// Prints the table of all rows that lie in FOLDER as *.json, and draws the report there: report.md, for which FORM says
// how it was measured, and its plots.
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <nlohmann/json.hpp>

#include "machine.h"
#include "plots.h"
#include "table.h"

namespace {

namespace fs = std::filesystem;

// In the order of the files' names, which script/bench numbers.
std::vector<Row> readRows(const fs::path &folder) {
  std::vector<fs::path> files;
  for (const fs::directory_entry &entry : fs::directory_iterator(folder)) {
    if (entry.path().extension() == ".json") files.push_back(entry.path());
  }
  std::sort(files.begin(), files.end());
  std::vector<Row> rows;
  for (const fs::path &path : files) {
    std::ifstream file(path);
    for (const nlohmann::json &row : nlohmann::json::parse(file))
      rows.push_back(row.get<Row>());
  }
  return rows;
}

void writeReport(const fs::path &folder, const std::string &form, const std::vector<Row> &rows,
                 const std::vector<std::string> &plots) {
  std::ofstream report(folder / "report.md");
  report << "Measured on:\n\n";
  for (const std::string &fact : describeMachine())
    report << "- " << fact << '\n';
  report << "- " << form << "\n\n";
  writeTable(report, rows);
  report << "\nThe references:\n\n";
  writeReferences(report, rows);
  report << '\n';
  for (const std::string &name : plots)
    report << "![" << fs::path(name).stem().string() << "](" << name << ")\n\n";
  if (!(report << std::flush)) throw std::runtime_error("cannot write the report");
}

}  // namespace

int main(int argc, char **argv) try {
  if (argc != 3) throw std::invalid_argument("usage: bench_report FOLDER FORM");
  const fs::path folder = argv[1];
  const std::vector<Row> rows = readRows(folder);
  if (rows.empty()) throw std::runtime_error("there are no rows in " + folder.string());
  writeReport(folder, argv[2], rows, drawPlots(rows, folder));
  writeTable(std::cout, rows);
  return 0;
} catch (const std::exception &problem) {
  std::cerr << "bench_report: " << problem.what() << '\n';
  return 1;
}

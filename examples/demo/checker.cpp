// Judges what a watcher printed and what the database holds by the journal of the loader: both must be exactly what was
// written, line by line, but for the notification server's reminders.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include "demo_database.h"
#include "journal.h"

namespace {

using Lines = std::vector<std::string>;

Lines readLines(const std::string &path) {
  std::ifstream file(path);
  if (!file) throw std::runtime_error("cannot read " + path);
  Lines lines;
  for (std::string line; std::getline(file, line);) {
    lines.push_back(line);
  }
  return lines;
}

// A notification server that has come up lately reminds everybody that changes may have been missed: of a single
// action, with row id 0, as no writer of ours announces it.
bool isReminder(const std::string &line) {
  const auto endsWith = [&line](const std::string &end) {
    return line.size() >= end.size() && line.compare(line.size() - end.size(), end.size(), end) == 0;
  };
  return endsWith(" insert 0") || endsWith(" update 0") || endsWith(" delete 0");
}

Lines withoutReminders(Lines lines) {
  lines.erase(std::remove_if(lines.begin(), lines.end(), isReminder), lines.end());
  return lines;
}

void appendRows(const Handle &handle, const Table &table, Lines &lines) {
  std::vector<const char *> columns = table.columns;
  const auto count = static_cast<unsigned int>(columns.size());
  ResultSetInfo *rows = nullptr;
  check(orv_db_query(handle.get(), table.name, columns.data(), count, nullptr, nullptr, 0, "_id", &rows), "query");
  for (const Result result(rows); step(result);) {
    Fields fields;
    for (unsigned int column = 0; column + 1 < count; ++column) {
      fields.push_back(std::to_string(integerColumn(result, column)));
    }
    fields.push_back(textColumn(result, count - 1));
    lines.push_back(rowLine(table.name, fields));
  }
}

// In the journal's order: tables by name, rows by id.
Lines readRows(const Handle &handle) {
  Lines lines;
  appendRows(handle, kDevices, lines);
  appendRows(handle, kVendors, lines);
  return lines;
}

std::string lineAt(const Lines &lines, std::size_t index) {
  return index < lines.size() ? "'" + lines[index] + "'" : "the end";
}

bool judge(const char *what, const Lines &expected, const Lines &found) {
  const auto [difference, ignored] = std::mismatch(expected.begin(), expected.end(), found.begin(), found.end());
  if (expected == found) {
    std::printf("%s: all %zu as written\n", what, expected.size());
    return true;
  }
  const auto index = static_cast<std::size_t>(difference - expected.begin());
  std::printf("%s: WRONG: line %zu is %s and should be %s (%zu lines, %zu written)\n", what, index + 1,
              lineAt(found, index).c_str(), lineAt(expected, index).c_str(), found.size(), expected.size());
  return false;
}

}  // namespace

int main(int argc, char **argv) try {
  if (argc != 5) {
    std::fputs("Usage: checker CONNECTION-FILE DATABASE JOURNAL-DIRECTORY WATCHER-LOG\n", stderr);
    return 2;
  }
  const std::string journal = argv[3];
  const bool changesMatch =
      judge("changes heard", readLines(journal + "/changes"), withoutReminders(readLines(argv[4])));
  const bool rowsMatch =
      judge("rows in the database", readLines(journal + "/rows"), readRows(openDatabase(argv[1], argv[2])));
  return changesMatch && rowsMatch ? EXIT_SUCCESS : EXIT_FAILURE;
} catch (const std::exception &error) {
  std::fprintf(stderr, "checker: %s\n", error.what());
  return EXIT_FAILURE;
}

#include "table.h"

#include <algorithm>
#include <array>
#include <set>
#include <string>

#include "figures.h"

namespace {

constexpr std::size_t kColumns = 9;
using Line = std::array<std::string, kColumns>;

const Line kTitles{"work", "library", "its spread", "reference", "its spread", "ratio", "its spread", "aim", "met?"};

Line lineOf(const Row &row) {
  const std::string &unit = row.subject.unit;
  Line line{row.subject.work,
            figure(row.library.median, unit),
            spreadFigure(row.library, unit),
            "-",
            "-",
            "-",
            "-",
            aimFigure(row),
            verdict(row)};
  if (row.reference) {
    line[3] = figure(row.reference->median, unit);
    line[4] = spreadFigure(*row.reference, unit);
  }
  if (row.ratio) {
    line[5] = ratioFigure(row.ratio->median);
    line[6] =
        row.ratio->low == row.ratio->high ? "-" : ratioFigure(row.ratio->low) + "-" + ratioFigure(row.ratio->high);
  }
  return line;
}

// Characters, not bytes: all but those that continue one.
std::size_t widthOf(const std::string &text) {
  return static_cast<std::size_t>(std::count_if(
      text.begin(), text.end(), [](char byte) { return (static_cast<unsigned char>(byte) & 0xC0) != 0x80; }));
}

bool isText(std::size_t column) { return column == 0; }

void writeLine(std::ostream &out, const Line &line, const std::array<std::size_t, kColumns> &widths) {
  for (std::size_t i = 0; i < kColumns; ++i) {
    const std::string padding(widths[i] - widthOf(line[i]), ' ');
    out << "| " << (isText(i) ? line[i] + padding : padding + line[i]) << ' ';
  }
  out << "|\n";
}

}  // namespace

void writeTable(std::ostream &out, const std::vector<Row> &rows) {
  std::vector<Line> lines{kTitles};
  std::string group;
  for (const Row &row : rows) {
    if (row.group != group) lines.push_back({"**" + row.group + "**"});
    group = row.group;
    lines.push_back(lineOf(row));
  }
  std::array<std::size_t, kColumns> widths{};
  for (const Line &line : lines) {
    for (std::size_t i = 0; i < kColumns; ++i)
      widths[i] = std::max(widths[i], widthOf(line[i]));
  }
  writeLine(out, lines.front(), widths);
  for (std::size_t i = 0; i < kColumns; ++i)
    out << '|' << (isText(i) ? ":" : "-") << std::string(widths[i], '-') << (isText(i) ? "-" : ":");
  out << "|\n";
  for (std::size_t i = 1; i < lines.size(); ++i)
    writeLine(out, lines[i], widths);
}

void writeReferences(std::ostream &out, const std::vector<Row> &rows) {
  std::set<std::string> written;
  for (const Row &row : rows) {
    const Subject &subject = row.subject;
    const std::string &name = subject.place.curve.empty() ? subject.work : subject.place.curve;
    const std::string line = "- " + name + ": " + subject.reference + '\n';
    if (!subject.reference.empty() && written.insert(line).second) out << line;
  }
}

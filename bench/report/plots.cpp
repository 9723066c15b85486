#include "plots.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <map>
#include <sstream>
#include <stdexcept>

namespace {

constexpr char kLibraryColour[] = "#1f6fb4";
constexpr char kReferenceColour[] = "#e0873c";
constexpr char kAimColour[] = "#2e9e5b";

using Groups = std::map<std::string, std::vector<const Row *>>;

std::string fileNameOf(const std::string &title) {
  std::string name;
  for (const char letter : title)
    name += std::isalnum(static_cast<unsigned char>(letter)) != 0 ? letter : '-';
  return name + ".svg";
}

void runGnuplot(const std::string &script) {
  std::FILE *gnuplot = popen("gnuplot", "w");
  if (gnuplot == nullptr) throw std::runtime_error("cannot start gnuplot");
  std::fputs(script.c_str(), gnuplot);
  if (pclose(gnuplot) != 0) throw std::runtime_error("gnuplot has failed");
}

std::string beginOf(const std::string &path, const std::string &title, std::size_t height) {
  std::ostringstream script;
  script << "set encoding utf8\n"
         << "set terminal svg size 900," << height << " font 'sans-serif,13' background 'white'\n"
         << "set output '" << path << "'\nset title \"" << title
         << "\"\nset grid lc '#dddddd'\nset border lc '#888888'\n"
         << "set tics textcolor rgb 'black'\n";
  return script.str();
}

// Wide spreads of a busy machine would leave no room for what counts.
std::string rangeOf(const std::vector<const Row *> &rows) {
  double low = 0.95;
  double high = 1.1;
  for (const Row *row : rows) {
    low = std::min(low, row->ratio->median * 0.95);
    high = std::max(high, row->ratio->median * 1.05);
  }
  return std::to_string(low) + ":" + std::to_string(high);
}

// One line per work: the ratio with its quartiles, and the aim as a tick.
std::string ratioScript(const std::string &path, const std::string &title, const std::vector<const Row *> &rows) {
  std::ostringstream points;
  std::ostringstream names;
  for (std::size_t i = 0; i < rows.size(); ++i) {
    const Row &row = *rows[i];
    const bool hasAim = row.subject.aim.of == Aim::kRatio;
    points << row.ratio->median << ' ' << rows.size() - i << ' ' << row.ratio->low << ' ' << row.ratio->high << ' '
           << (hasAim ? std::to_string(row.subject.aim.most) : "NaN") << '\n';
    names << (i != 0 ? "," : "") << '"' << row.subject.work << "\" " << rows.size() - i;
  }
  std::ostringstream script;
  script << beginOf(path, title, 110 + 26 * rows.size()) << "$rows << EOD\n"
         << points.str() << "EOD\nset ytics (" << names.str() << ")\nset yrange [0.4:" << rows.size() << ".6]\n"
         << "set xrange [" << rangeOf(rows) << "]\nset xlabel 'library / reference: median and quartiles'\n"
         << "set key above\nset arrow from 1, graph 0 to 1, graph 1 nohead lc '#888888' lw 1.5\n"
         << "plot $rows using 1:2:3:4 with xerrorbars lc '" << kLibraryColour
         << "' pt 7 ps 0.7 lw 1.5 title 'measured', $rows using 5:2 with points lc '" << kAimColour
         << "' pt 9 ps 0.9 title 'aim, at most'\n";
  return script.str();
}

std::string curveScript(const std::string &path, const std::string &title, const std::vector<const Row *> &rows) {
  std::ostringstream script;
  script << beginOf(path, title, 420) << "$library << EOD\n";
  for (const Row *row : rows)
    script << row->subject.place.x << ' ' << row->library.median << ' ' << row->library.low << ' ' << row->library.high
           << '\n';
  script << "EOD\n$reference << EOD\n";
  for (const Row *row : rows) {
    if (row->reference)
      script << row->subject.place.x << ' ' << row->reference->median << ' ' << row->reference->low << ' '
             << row->reference->high << '\n';
  }
  script << "EOD\nset logscale xy\nset format y '%.0s %c" << rows.front()->subject.unit << "'\nset xlabel '"
         << rows.front()->subject.place.xName << "'\nset key top left\nplot $library with yerrorlines lc '"
         << kLibraryColour << "' pt 7 ps 0.6 lw 1.5 title 'library'";
  if (rows.front()->reference)
    script << ", $reference with yerrorlines lc '" << kReferenceColour << "' pt 5 ps 0.6 lw 1.5 dt 2 title 'reference'";
  script << '\n';
  return script.str();
}

}  // namespace

std::vector<std::string> drawPlots(const std::vector<Row> &rows, const std::string &folder) {
  Groups ratios;
  Groups curves;
  for (const Row &row : rows) {
    const std::string &curve = row.subject.place.curve;
    if (!curve.empty()) {
      curves[curve].push_back(&row);
    } else if (row.ratio && row.subject.unit == "s") {
      ratios[row.group].push_back(&row);
    }
  }
  std::vector<std::string> names;
  for (const auto &[title, members] : ratios) {
    names.push_back(fileNameOf(title));
    runGnuplot(ratioScript(folder + "/" + names.back(), title, members));
  }
  for (const auto &[title, members] : curves) {
    names.push_back(fileNameOf(title));
    runGnuplot(curveScript(folder + "/" + names.back(), title, members));
  }
  return names;
}

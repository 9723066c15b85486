#include "figures.h"

#include <array>
#include <cmath>
#include <cstdio>
#include <vector>

namespace {

struct Scaled {
  double factor;
  const char *unit;
};

// The smallest unit first.
const std::vector<Scaled> &scalesOf(const std::string &unit) {
  static const std::vector<Scaled> seconds{{1e9, "ns"}, {1e6, "µs"}, {1e3, "ms"}, {1, "s"}};
  static const std::vector<Scaled> bytes{{1, "B"}, {1.0 / 1024, "KiB"}, {1.0 / 1024 / 1024, "MiB"}};
  static const std::vector<Scaled> none;
  return unit == "s" ? seconds : unit == "B" ? bytes : none;
}

Scaled scaleOf(double value, const std::string &unit) {
  Scaled chosen{1, ""};
  for (const Scaled &scale : scalesOf(unit)) {
    if (*chosen.unit == '\0' || value * scale.factor >= 1) chosen = scale;
  }
  return chosen;
}

std::string number(double value, int digitsBehind) {
  std::array<char, 64> text;
  std::snprintf(text.data(), text.size(), "%.*f", digitsBehind, value);
  return text.data();
}

// How many digits behind the point leave three that count. Whole numbers have none.
int digitsBehind(double value, bool isWhole) {
  if (isWhole || value >= 100) return 0;
  return value >= 10 ? 1 : 2;
}

bool isWhole(double value) { return value == std::floor(value); }

std::string scaled(double value, const Scaled &scale, bool whole) {
  const double shown = value * scale.factor;
  return number(shown, digitsBehind(shown, whole));
}

std::string withUnit(const std::string &text, const Scaled &scale, const std::string &unit) {
  const std::string name = *scale.unit != '\0' ? scale.unit : unit;
  return name.empty() ? text : text + " " + name;
}

}  // namespace

std::string figure(double value, const std::string &unit) {
  const Scaled scale = scaleOf(value, unit);
  return withUnit(scaled(value, scale, isWhole(value) && scalesOf(unit).empty()), scale, unit);
}

std::string spreadFigure(const Spread &spread, const std::string &unit) {
  if (spread.low == spread.high) return "-";
  const Scaled scale = scaleOf(spread.median, unit);
  const bool whole = scalesOf(unit).empty() && isWhole(spread.low) && isWhole(spread.high);
  return withUnit(scaled(spread.low, scale, whole) + "-" + scaled(spread.high, scale, whole), scale, unit);
}

std::string ratioFigure(double ratio) { return number(ratio, ratio < 10 ? 3 : 1); }

std::string verdict(const Row &row) {
  const Aim &aim = row.subject.aim;
  if (aim.of == Aim::kNothing || (aim.of == Aim::kRatio && !row.ratio)) return "-";
  const double reached = aim.of == Aim::kRatio ? row.ratio->median : row.library.median;
  return reached <= aim.most ? "met" : "not met";
}

std::string aimFigure(const Row &row) {
  switch (row.subject.aim.of) {
    case Aim::kRatio:
      return "≤ " + number(row.subject.aim.most, 2);
    case Aim::kLibrary:
      return "≤ " + figure(row.subject.aim.most, row.subject.unit);
    default:
      return "-";
  }
}

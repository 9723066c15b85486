// One row of the table: a work, what it costs with the library and by the reference. Programs write rows as JSON, and
// table, report and plots are drawn from that alone.
#pragma once

#include <cstddef>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>

#include "frame/statistics.h"

// What a figure should be at most.
struct Aim {
  enum Of { kNothing, kRatio, kLibrary };
  Of of = kNothing;
  double most = 0;
};
inline Aim ratioAtMost(double most) { return {Aim::kRatio, most}; }
inline Aim libraryAtMost(double most) { return {Aim::kLibrary, most}; }

// Rows with the same curve are drawn as one: how the figure grows with x.
struct Place {
  std::string curve;
  std::string xName;
  double x = 0;
};

struct Subject {
  std::string work;
  std::string unit = "s";  // "s" and "B" are scaled for reading
  Aim aim;
  std::string reference;  // what the reference does, in a few words; for the list below the table
  Place place;
};

struct Row {
  std::string group;
  Subject subject;
  Spread library;
  std::optional<Spread> reference;
  std::optional<Spread> ratio;  // median and spread of the pairs' ratios
  std::size_t pairs = 0;
};

void to_json(nlohmann::json &json, const Row &row);
void from_json(const nlohmann::json &json, Row &row);

// Figures as people read them.
#pragma once

#include <string>

#include "frame/row.h"

// With three digits that count and the unit that suits it: "183 µs".
std::string figure(double value, const std::string &unit);
// The quartiles, in the unit of the median: "180-190 µs". A dash where all values were the same.
std::string spreadFigure(const Spread &spread, const std::string &unit);
std::string ratioFigure(double ratio);
// "met", "not met", or a dash where nothing is aimed at.
std::string verdict(const Row &row);
// "≤ 1.02", "≤ 0 allocations", or a dash.
std::string aimFigure(const Row &row);

// Drawings of the rows, as SVG, by gnuplot.
#pragma once

#include <string>
#include <vector>

#include "frame/row.h"

// Writes them into the folder and gives their names: of each group the ratios, and each curve.
std::vector<std::string> drawPlots(const std::vector<Row> &rows, const std::string &folder);

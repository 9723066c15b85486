// What is said of a series of values: its median, and the quartiles between which half of them lie.
#pragma once

#include <vector>

struct Spread {
  double median = 0;
  double low = 0;
  double high = 0;
};

// Throws std::invalid_argument for a series without values.
Spread spreadOf(std::vector<double> values);

#include "frame/statistics.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>

namespace {

// Between two neighbours in proportion.
double quantile(const std::vector<double> &sorted, double part) {
  const double position = part * static_cast<double>(sorted.size() - 1);
  const auto below = static_cast<std::size_t>(position);
  const std::size_t above = std::min(below + 1, sorted.size() - 1);
  return sorted[below] + (sorted[above] - sorted[below]) * (position - std::floor(position));
}

}  // namespace

Spread spreadOf(std::vector<double> values) {
  if (values.empty()) throw std::invalid_argument("nothing was measured");
  std::sort(values.begin(), values.end());
  return {quantile(values, 0.5), quantile(values, 0.25), quantile(values, 0.75)};
}

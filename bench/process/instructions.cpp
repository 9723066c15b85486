#include "instructions.h"

#include <stdexcept>

void countInstructions(Bench &bench, const std::vector<Work> &works, std::vector<std::string> command,
                       std::size_t times, const Counter &counter) {
  command.push_back(std::to_string(times));
  const std::vector<double> counts = counter(command);
  if (counts.size() != 2 * works.size()) throw std::runtime_error("not each work of " + command[0] + " was counted");
  const auto ofOne = [&](std::size_t part) { return counts[part] / static_cast<double>(times); };
  for (std::size_t i = 0; i < works.size(); ++i)
    bench.record({works[i].name, "instructions", {}, works[i].referenceIs, {}}, ofOne(2 * i), ofOne(2 * i + 1));
}

// The instructions of each work, which are counted in a process of its own.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "works.h"

// Executes a program, and gives the instructions between each pair of marks, see marks.h.
using Counter = std::function<std::vector<double>(const std::vector<std::string> &command)>;

// Records a row for each work, from what `counter` finds in the program counted_works, which has the same list of
// works. The command is the program's, but for the number of times.
void countInstructions(Bench &bench, const std::vector<Work> &works, std::vector<std::string> command,
                       std::size_t times, const Counter &counter);

// The instructions of each work, which callgrind counts in a process of its own.
#pragma once

#include <string>
#include <vector>

#include "works.h"

struct Instructions {
  double library;
  double reference;
};

// For one time of each work, in their order.
std::vector<Instructions> countInstructions(const std::string &connectionFile, const std::string &db,
                                            std::size_t workCount);

// The program in that process.
bool isCountedProgram(int argc, char **argv);
int runCounted(char **argv);

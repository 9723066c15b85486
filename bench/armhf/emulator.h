// Counting instructions on 32-bit Arm: an emulator logs a line for each.
#pragma once

#include <string>
#include <vector>

// A Counter, see process/instructions.h.
std::vector<double> countByEmulator(const std::vector<std::string> &command);

// From the start of the program to its end.
double countWholly(const std::string &program);

// Counting instructions on this machine.
#pragma once

#include <string>
#include <vector>

// A Counter, see instructions.h.
std::vector<double> countByCallgrind(const std::vector<std::string> &command);

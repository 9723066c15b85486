// Numbers from the command line. What is none ends in WrongUsage.
#pragma once

#include <chrono>
#include <string>

// Of decimal digits and nothing else: CLI11 would take 010 for 8, and the nearest number for one that is too large.
unsigned long long parseNumber(const std::string &text);

std::chrono::duration<double> parseTimeout(double seconds);

// How the program ends, and what leads to it.
#pragma once

#include <stdexcept>

enum ExitStatus { kDone = 0, kFailed = 1, kWrongUsage = 2, kTimedOut = 3 };

// Ends the program with kFailed; the text says what failed and, where that helps, what to do.
class Failure : public std::runtime_error {
  using runtime_error::runtime_error;
};

// Ends the program with kWrongUsage.
class WrongUsage : public std::runtime_error {
  using runtime_error::runtime_error;
};

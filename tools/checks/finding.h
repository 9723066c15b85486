// What the doctor finds.
#pragma once

#include <string>

enum class Level { kOk, kWarning, kProblem };

struct Finding {
  Level level;
  std::string subject;
  std::string text;
  std::string advice;  // empty when there is nothing to do
};

const char *levelName(Level level);

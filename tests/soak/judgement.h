// Whether a soak run went as it should, by the files that it has left.
#pragma once

#include <istream>
#include <string>
#include <vector>

struct Finding {
  bool isGood;
  std::string text;
};

// Of the lines that RunJournal has written.
std::vector<Finding> judge(std::istream &samples, std::istream &events);

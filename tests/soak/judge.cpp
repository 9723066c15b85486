// soak_judge FOLDER
//
// Judges the run that has left samples.csv and events.csv in FOLDER: flat lines of memory, descriptors and threads,
// from the first quarter to the last after the start, no copy wrong, nothing ended that was not to end, and everybody
// at work to the end. The exit status is 0 if all is well.
#include <algorithm>
#include <fstream>
#include <iostream>

#include "soak/judgement.h"

int main(int argc, char **argv) {
  if (argc != 2) return 2;
  const std::string folder = argv[1];
  std::ifstream samples(folder + "/samples.csv");
  std::ifstream events(folder + "/events.csv");
  const std::vector<Finding> findings = judge(samples, events);
  for (const Finding &finding : findings)
    std::cout << (finding.isGood ? "ok      " : "NOT OK  ") << finding.text << '\n';
  return std::all_of(findings.begin(), findings.end(), [](const Finding &finding) { return finding.isGood; }) ? 0 : 1;
}

// counted_works CONNECTION TIMES
//
// Does each work by the library and by the reference, for whoever counts the instructions between the marks: callgrind,
// or the emulator of another machine.
#include <iostream>
#include <stdexcept>
#include <string>

#include "marks.h"
#include "works.h"

namespace {

void count(const Repeat &work, std::size_t times) {
  work(times);  // what is done once
  count_begins();
  work(times);
  count_ends();
}

}  // namespace

int main(int argc, char **argv) try {
  if (argc != 3) throw std::invalid_argument("CONNECTION TIMES");
  Surroundings surroundings(databaseServer(argv[1]));
  const std::size_t times = std::stoul(argv[2]);
  for (const Work &work : Works(surroundings).all()) {
    count(work.library, times);
    count(work.reference, times);
  }
  return 0;
} catch (const std::exception &problem) {
  // In one piece, since the emulator writes its log to the same place.
  std::cerr << "counted_works: " + std::string(problem.what()) + '\n';
  return 1;
}

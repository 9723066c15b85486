// Takes a thousand steps between the first two marks and twice as many between the next, and far more beside them.
#include "process/marks.h"

namespace {

void take(int steps) {
  for (int i = 0; i < steps; ++i)
    asm volatile("");
}

void takeBetweenMarks(int steps) {
  take(1'000'000);
  count_begins();
  take(steps);
  count_ends();
}

}  // namespace

int main() {
  takeBetweenMarks(1'000);
  takeBetweenMarks(2'000);
  take(1'000'000);
}

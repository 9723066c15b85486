// main() of every test executable: GoogleTest, or one of the child programs.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <iostream>

#include "support/child_program.h"
#include "support/private_root.h"

namespace {

// A test that skips itself fails. It ends here, before GoogleTest prints the mark by which ctest would take it for
// skipped.
class FailOnSkip : public ::testing::EmptyTestEventListener {
  void OnTestPartResult(const ::testing::TestPartResult &result) override {
    if (!result.skipped()) return;
    std::cout << "A test may not skip itself." << std::endl;
    std::_Exit(1);
  }
};

const pid_t s_program = getpid();

}  // namespace

// Asked by LeakSanitizer at the end of a process. A forked child has abandoned locks, which are held in it for ever,
// and what other threads of its parent were at work with.
extern "C" int __lsan_is_turned_off() { return getpid() != s_program ? 1 : 0; }

int main(int argc, char **argv) {
  if (!inPrivateRoot()) {
    std::cerr << argv[0] << ": runs only under private_root, since it must not meet a live notification server\n";
    return 1;
  }
  if (isChildProgram(argc, argv)) return childProgramMain(argc, argv);
  ::testing::InitGoogleTest(&argc, argv);
  ::testing::UnitTest::GetInstance()->listeners().Append(new FailOnSkip);
  return RUN_ALL_TESTS();
}

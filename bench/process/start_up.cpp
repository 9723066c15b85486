#include "start_up.h"

#include <spawn.h>
#include <sys/wait.h>

#include <chrono>
#include <stdexcept>

namespace {

// From its start to its end.
Measure timeOf(const char *program) {
  return [program] {
    const auto begin = std::chrono::steady_clock::now();
    char *words[] = {const_cast<char *>(program), nullptr};
    pid_t pid = -1;
    int status = 0;
    if (posix_spawn(&pid, program, nullptr, nullptr, words, environ) != 0 || waitpid(pid, &status, 0) != pid ||
        status != 0) {
      throw std::runtime_error(std::string(program) + " has failed");
    }
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
  };
}

}  // namespace

void measureStartUp(Bench &bench) {
  const Measure library = timeOf(LOADS_LIBRARY);
  bench.compareValues({"process that only loads the library", "s", {}, "a C program with the client library", {}},
                      library, timeOf(LOADS_CLIENT));
  bench.compareValues(
      {"process that only loads the library, C++", "s", {}, "a C++ program with the client library", {}}, library,
      timeOf(LOADS_CLIENT_CPP));
}

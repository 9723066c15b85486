// orvdb: the library's functions for people and scripts.
#include <clocale>
#include <cstdio>
#include <exception>

#include "command_line.h"
#include "exit_status.h"
#include "terminal/standard_output.h"

int main(int argc, char **argv) {
  std::setlocale(LC_CTYPE, "C.UTF-8");  // texts are in UTF-8, whatever the terminal's language
  int status = kFailed;
  try {
    status = runCommandLine(argc, argv);
    finishOutput();
  } catch (const WrongUsage &error) {
    std::fprintf(stderr, "orvdb: %s\n", error.what());
    return kWrongUsage;
  } catch (const std::exception &error) {
    std::fflush(stdout);
    std::fprintf(stderr, "orvdb: %s\n", error.what());
    return kFailed;
  }
  return status;
}

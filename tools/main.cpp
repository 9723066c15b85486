// orvdb: the library's functions for people and scripts.
#include <clocale>
#include <cstdio>
#include <exception>

#include "command_line.h"
#include "exit_status.h"
#include "terminal/standard_output.h"
#include "terminal/text.h"

namespace {

// What a user typed or a server sent stands in it.
void say(const std::exception &error) { std::fprintf(stderr, "orvdb: %s\n", printableMessage(error.what()).c_str()); }

}  // namespace

int main(int argc, char **argv) {
  std::setlocale(LC_CTYPE, "C.UTF-8");  // texts are in UTF-8, whatever the terminal's language
  int status = kFailed;
  try {
    status = runCommandLine(argc, argv);
    finishOutput();
  } catch (const WrongUsage &error) {
    say(error);
    return kWrongUsage;
  } catch (const std::exception &error) {
    std::fflush(stdout);
    say(error);
    return kFailed;
  }
  return status;
}

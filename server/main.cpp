#include <cstdlib>
#include <exception>

#include "options.h"
#include "server.h"
#include "system/log.h"

int main(int argc, char **argv) {
  const Options options = parseOptions(argc, argv);
  Log log(options.logsToSyslog);
  try {
    Server server(options, log);
    log.write(Log::kInfo, "start", "listening on " + server.address());
    server.run();
    log.write(Log::kInfo, "end", "ended");
  } catch (const std::exception &error) {
    log.write(Log::kError, "failure", error.what());
    return EXIT_FAILURE;
  }
  return EXIT_SUCCESS;
}

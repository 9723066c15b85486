#include <cstdio>
#include <cstdlib>
#include <exception>

#include "options.h"
#include "server.h"

int main(int argc, char **argv) {
  const Options options = parseOptions(argc, argv);
  try {
    Server server(options.socketPath);
    std::fprintf(stderr, "orvdb_server: listening on %s\n", options.socketPath.c_str());
    server.run();
  } catch (const std::exception &error) {
    std::fprintf(stderr, "orvdb_server: %s\n", error.what());
    return EXIT_FAILURE;
  }
  return EXIT_SUCCESS;
}

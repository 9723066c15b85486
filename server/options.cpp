#include "options.h"

#include <getopt.h>

#include <cstdio>
#include <cstdlib>

#include "event/message.h"

namespace {

constexpr int kExitUsage = 2;

constexpr char kUsage[] =
    "Usage: orvdb_server [OPTION]...\n"
    "Passes changes of database tables on to the processes that registered for them.\n"
    "\n"
    "  -s, --socket=PATH  listen on PATH (default %s)\n"
    "  -h, --help         print this help and exit\n"
    "  -V, --version      print the version and exit\n";

constexpr option kLongOptions[] = {{"socket", required_argument, nullptr, 's'},
                                   {"help", no_argument, nullptr, 'h'},
                                   {"version", no_argument, nullptr, 'V'},
                                   {nullptr, 0, nullptr, 0}};

[[noreturn]] void failUsage() {
  std::fputs("Try 'orvdb_server --help'.\n", stderr);
  std::exit(kExitUsage);
}

}  // namespace

Options parseOptions(int argc, char **argv) {
  Options options{kServerSocketPath};
  for (int letter; (letter = getopt_long(argc, argv, "s:hV", kLongOptions, nullptr)) != -1;) {
    switch (letter) {
      case 's':
        options.socketPath = optarg;
        break;
      case 'h':
        std::printf(kUsage, kServerSocketPath);
        std::exit(EXIT_SUCCESS);
      case 'V':
        std::puts("orvdb_server " ORVDB_VERSION);
        std::exit(EXIT_SUCCESS);
      default:
        failUsage();
    }
  }
  if (optind != argc) {
    std::fprintf(stderr, "orvdb_server: unexpected argument '%s'\n", argv[optind]);
    failUsage();
  }
  return options;
}

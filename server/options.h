// The command line.
#pragma once

#include <string>

struct Options {
  std::string socketPath;
};

// Ends the process on --help and --version (status 0) and on wrong usage (status 2).
Options parseOptions(int argc, char **argv);

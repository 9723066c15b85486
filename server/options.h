// The command line.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <set>
#include <string>

#include "forwarding/limits.h"
#include "forwarding/resync.h"

struct Options {
  std::string socketPath;
  mode_t socketMode = 0666;
  gid_t socketGroup = static_cast<gid_t>(-1);  // -1: the server's own
  std::set<uid_t> allowedUsers;                // everybody when both lists are empty
  std::set<gid_t> allowedGroups;
  std::size_t maxConnections = 10'000;
  std::size_t maxUserConnections = 5'000;
  Limits limits;
  ResyncMode resync = ResyncMode::kAuto;
  std::string statusPath;  // empty: none
  mode_t statusMode = 0600;
  bool logsToSyslog = false;
};

// Ends the process on --help and --version (status 0) and on wrong usage (status 2).
Options parseOptions(int argc, char **argv);

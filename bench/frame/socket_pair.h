// Two sockets that are connected with each other: one for this process, one for a child.
#pragma once

#include "support/unique_fd.h"

struct SocketPair {
  SocketPair();

  UniqueFd ours;
  UniqueFd theirs;
};

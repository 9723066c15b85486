// Whether this process runs under the launcher private_root, which gives it a /tmp, /dev and /etc of its own.
#pragma once

#include <unistd.h>

// The folder under which the launcher keeps the machine's /etc.
constexpr char kMachinesEtc[] = "/etc/.machine";

inline bool inPrivateRoot() { return access(kMachinesEtc, F_OK) == 0; }

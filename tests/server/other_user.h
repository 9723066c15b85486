// A user that owns nothing here. Only root can take its place: without root there is none.
#pragma once

#include <sys/types.h>
#include <unistd.h>

#include <string>
#include <vector>

constexpr uid_t kNobody = 65534;

inline std::vector<uid_t> otherUsers() { return geteuid() == 0 ? std::vector<uid_t>{kNobody} : std::vector<uid_t>{}; }

inline std::vector<std::string> runAsUser(uid_t user) {
  const std::string id = std::to_string(user);
  return {"/usr/bin/setpriv", "--reuid=" + id, "--regid=" + id, "--clear-groups", "--pdeathsig=KILL"};
}

// The registry of open connections.
#pragma once

#include <map>
#include <string>

#include "core/handle.h"
#include "core/locks.h"
#include "event/exit_emptied.h"

struct ConnectionInfo {
  std::string host;
  std::string db;  // the name under which changes are announced
};

struct connection_map : std::map<st_mysql *, ConnectionInfo> {
  void emptyAtExit();
};

extern exit_emptied<connection_map> s_mapConnInfo ORV_GUARDED_BY(s_pConnInfoLock);

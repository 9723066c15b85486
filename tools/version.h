// The version of this program, which is that of the library it was built with.
#pragma once

#include <orvdb_client.h>

#include <string>

inline std::string programVersion() {
  return std::to_string(ORV_DB_VERSION_MAJOR) + "." + std::to_string(ORV_DB_VERSION_MINOR) + "." +
         std::to_string(ORV_DB_VERSION_PATCH);
}

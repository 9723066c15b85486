// Child programs under another name: only an executable whose name begins with "QZ_" writes to the system log.
#pragma once

#include <string>

#include "support/child_program.h"

inline ChildProgram::Setting named(const std::string &executableName) {
  ChildProgram::Setting setting;
  setting.executableName = executableName;
  return setting;
}

// The file beside the socket that says that a server is there: of several that start at once, one gets it.
#pragma once

#include <string>

#include "system/descriptor.h"

class LockFile {
 public:
  // Throws std::runtime_error when another process holds it, or the system refuses.
  explicit LockFile(std::string path);
  LockFile(const LockFile &) = delete;
  LockFile &operator=(const LockFile &) = delete;
  ~LockFile();

 private:
  const std::string m_path;
  Descriptor m_file;
};

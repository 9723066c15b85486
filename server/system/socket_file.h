// A listening socket and its file.
#pragma once

#include <sys/types.h>

#include <string>

#include "system/descriptor.h"

class SocketFile {
 public:
  struct Rights {
    mode_t mode;
    gid_t group = static_cast<gid_t>(-1);  // -1: the server's own
  };

  // A socket file that nobody answers is replaced. Throws std::runtime_error with the reason when another server
  // answers, when something other than a socket is in the way, or when the system refuses.
  SocketFile(std::string path, const Rights &rights, int backlog);
  SocketFile(const SocketFile &) = delete;
  SocketFile &operator=(const SocketFile &) = delete;
  // Removes the file, unless another one has taken its place.
  ~SocketFile();

  int descriptor() const { return m_socket.get(); }

  enum class State { kThere, kVanished, kReplaced };
  State state() const;

 private:
  const std::string m_path;
  Descriptor m_socket;
  dev_t m_device = 0;
  ino_t m_inode = 0;
};

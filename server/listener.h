// The listening socket and its file.
#pragma once

#include <sys/types.h>

#include <string>

#include "descriptor.h"

class Listener {
 public:
  // Throws std::runtime_error with the reason when the server can't listen on `path`: another server answers there,
  // something other than a socket is in the way, or the system refuses. A socket file that nobody answers is replaced.
  explicit Listener(const std::string &path);
  Listener(const Listener &) = delete;
  Listener &operator=(const Listener &) = delete;
  // Removes the socket file, unless another one has taken its place.
  ~Listener();

  int descriptor() const { return m_socket.get(); }

  // The next waiting connection; not open when there is none. Out of descriptors, connections are accepted and closed
  // at once, so that their clients learn of it and the loop does not spin on them.
  Descriptor accept();

 private:
  // Accepts and closes one waiting connection; false when there is none.
  bool refuseOne();

  std::string m_path;
  Descriptor m_socket;
  Descriptor m_reserve;  // given up for a moment to accept and refuse a connection
  dev_t m_device = 0;    // of the socket file that this listener made
  ino_t m_inode = 0;
};

// A stream socket of the test's own that listens, where a server might be.
#pragma once

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <cerrno>
#include <string>
#include <system_error>

#include "support/unique_fd.h"

class ListeningSocket {
 public:
  // Its file stays, as that of a dead server does.
  explicit ListeningSocket(const std::string &path) : socket_(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof(address.sun_path) - 1);
    const bool isBound = bind(socket_.get(), reinterpret_cast<const sockaddr *>(&address), sizeof(address)) == 0;
    if (!isBound || listen(socket_.get(), 16) != 0) throw std::system_error(errno, std::generic_category(), path);
  }

  int descriptor() const { return socket_.get(); }

  // Has anybody connected?
  bool hasCaller() const {
    pollfd caller{socket_.get(), POLLIN, 0};
    return poll(&caller, 1, 0) == 1;
  }

 private:
  UniqueFd socket_;
};

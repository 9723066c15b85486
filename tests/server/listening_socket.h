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
    address_.sun_family = AF_UNIX;
    path.copy(address_.sun_path, sizeof(address_.sun_path) - 1);
    const bool isBound = bind(socket_.get(), generic(), sizeof(address_)) == 0;
    if (!isBound || listen(socket_.get(), 16) != 0) throw std::system_error(errno, std::generic_category(), path);
  }

  int descriptor() const { return socket_.get(); }

  // Has anybody connected?
  bool hasCaller() const {
    pollfd caller{socket_.get(), POLLIN, 0};
    return poll(&caller, 1, 0) == 1;
  }

  // From now on there is no room for further callers.
  void fillQueue() const {
    for (bool isTaken = true; isTaken;) {
      const UniqueFd caller(socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
      isTaken = connect(caller.get(), generic(), sizeof(address_)) == 0;
    }
  }

 private:
  const sockaddr *generic() const { return reinterpret_cast<const sockaddr *>(&address_); }

  sockaddr_un address_{};
  UniqueFd socket_;
};

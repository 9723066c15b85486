// A TCP socket of this machine that listens: who connects waits in its queue until the test accepts it, or for good.
#pragma once

#include <arpa/inet.h>
#include <sys/socket.h>

#include <stdexcept>

#include "support/unique_fd.h"

class LoopbackListener {
 public:
  LoopbackListener() : socket_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    constexpr int kQueue = 16;
    address_.sin_family = AF_INET;
    address_.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    auto *address = reinterpret_cast<sockaddr *>(&address_);
    socklen_t size = sizeof address_;
    if (bind(descriptor(), address, size) != 0 || getsockname(descriptor(), address, &size) != 0 ||
        listen(descriptor(), kQueue) != 0) {
      throw std::runtime_error("cannot listen on this machine");
    }
  }

  int descriptor() const { return socket_.get(); }
  unsigned int port() const { return ntohs(address_.sin_port); }

 private:
  UniqueFd socket_;
  sockaddr_in address_{};
};

#include "frame/socket_pair.h"

#include <sys/socket.h>

#include <stdexcept>

SocketPair::SocketPair() {
  int ends[2];
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) throw std::runtime_error("cannot make sockets");
  ours = UniqueFd(ends[0]);
  theirs = UniqueFd(ends[1]);
}

#include "system/datagram.h"

#include <sys/socket.h>
#include <sys/un.h>

#include <cstddef>

Descriptor connectDatagram(std::string_view path) {
  sockaddr_un address{};
  if (path.empty() || path.size() >= sizeof address.sun_path) return Descriptor{};
  address.sun_family = AF_UNIX;
  path.copy(address.sun_path, path.size());
  if (path.front() == '@') address.sun_path[0] = '\0';
  Descriptor connected{socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)};
  // The name ends with its length: a NUL that followed would be a part of an abstract one.
  const auto size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + path.size());
  if (connect(connected.get(), reinterpret_cast<const sockaddr *>(&address), size) != 0) connected.reset();
  return connected;
}

bool sendWithoutWaiting(int socket, const std::string &text) {
  return send(socket, text.data(), text.size(), MSG_DONTWAIT | MSG_NOSIGNAL) >= 0;
}

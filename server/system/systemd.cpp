#include "system/systemd.h"

#include <fcntl.h>
#include <sys/socket.h>

#include <cstdlib>
#include <cstring>
#include <stdexcept>

#include "system/datagram.h"

namespace {

constexpr int kFirstPassedDescriptor = 3;

bool isMeantForUs(const char *pidVariable) {
  const char *pid = std::getenv(pidVariable);
  return pid == nullptr || std::strtol(pid, nullptr, 10) == getpid();
}

bool hasOption(int fd, int option, int wanted) {
  int value = 0;
  socklen_t size = sizeof value;
  return getsockopt(fd, SOL_SOCKET, option, &value, &size) == 0 && value == wanted;
}

// One of another domain would let in whom nobody has named, perhaps from other machines.
bool isListeningUnixStream(int fd) {
  return hasOption(fd, SO_DOMAIN, AF_UNIX) && hasOption(fd, SO_TYPE, SOCK_STREAM) && hasOption(fd, SO_ACCEPTCONN, 1);
}

}  // namespace

Descriptor takeSystemdSocket() {
  const char *count = std::getenv("LISTEN_FDS");
  if (count == nullptr || std::getenv("LISTEN_PID") == nullptr || !isMeantForUs("LISTEN_PID")) return Descriptor{};
  if (std::strcmp(count, "1") != 0 || !isListeningUnixStream(kFirstPassedDescriptor)) {
    throw std::runtime_error("systemd is to pass one listening stream socket of the Unix domain");
  }
  fcntl(kFirstPassedDescriptor, F_SETFD, FD_CLOEXEC);
  fcntl(kFirstPassedDescriptor, F_SETFL, O_NONBLOCK);
  return Descriptor{kFirstPassedDescriptor};
}

SystemdNotifier::SystemdNotifier() {
  const char *path = std::getenv("NOTIFY_SOCKET");
  if (path != nullptr) m_socket = connectDatagram(path);
}

bool SystemdNotifier::notify(const std::string &state) const {
  return !m_socket.isOpen() || sendWithoutWaiting(m_socket.get(), state);
}

bool hasSystemdWatchdog() { return std::getenv("WATCHDOG_USEC") != nullptr && isMeantForUs("WATCHDOG_PID"); }

#include "listener.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <stdexcept>

namespace {

constexpr int kBacklog = SOMAXCONN;
constexpr int kSocketType = SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC;
constexpr int kAcceptFlags = SOCK_NONBLOCK | SOCK_CLOEXEC;

[[noreturn]] void fail(const std::string &path, const std::string &reason) {
  throw std::runtime_error(path + ": " + reason);
}

[[noreturn]] void failWithErrno(const std::string &path) { fail(path, std::strerror(errno)); }

sockaddr_un addressOf(const std::string &path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path.empty() || path.size() >= sizeof(address.sun_path)) {
    fail(path, "a socket path has 1 to " + std::to_string(sizeof(address.sun_path) - 1) + " bytes");
  }
  path.copy(address.sun_path, path.size());
  return address;
}

Descriptor openSocket(const std::string &path) {
  Descriptor socketFd{socket(AF_UNIX, kSocketType, 0)};
  if (!socketFd.isOpen()) failWithErrno(path);
  return socketFd;
}

const sockaddr *generic(const sockaddr_un &address) { return reinterpret_cast<const sockaddr *>(&address); }

// Removes a socket file that a dead server left behind. A server that is alive but does not accept at the moment
// answers with EAGAIN and counts as alive.
void clearPath(const std::string &path, const sockaddr_un &address) {
  struct stat file {};
  if (lstat(path.c_str(), &file) != 0) {
    if (errno == ENOENT) return;
    failWithErrno(path);
  }
  if (!S_ISSOCK(file.st_mode)) fail(path, "exists and is not a socket");
  const Descriptor probe = openSocket(path);
  if (connect(probe.get(), generic(address), sizeof(address)) == 0 || errno == EAGAIN) {
    fail(path, "another server answers there");
  }
  if (errno != ECONNREFUSED || unlink(path.c_str()) != 0) failWithErrno(path);
}

Descriptor openReserve() { return Descriptor{open("/dev/null", O_RDONLY | O_CLOEXEC)}; }

}  // namespace

Listener::Listener(const std::string &path) : m_path(path), m_reserve(openReserve()) {
  const sockaddr_un address = addressOf(path);
  clearPath(path, address);
  m_socket = openSocket(path);
  if (bind(m_socket.get(), generic(address), sizeof(address)) != 0) failWithErrno(path);
  struct stat file {};
  if (lstat(path.c_str(), &file) != 0 || listen(m_socket.get(), kBacklog) != 0) failWithErrno(path);
  m_device = file.st_dev;
  m_inode = file.st_ino;
}

Listener::~Listener() {
  struct stat file {};
  const bool isOurs = lstat(m_path.c_str(), &file) == 0 && file.st_dev == m_device && file.st_ino == m_inode;
  if (isOurs) unlink(m_path.c_str());
}

Descriptor Listener::accept() {
  for (;;) {
    Descriptor connection{accept4(m_socket.get(), nullptr, nullptr, kAcceptFlags)};
    if (connection.isOpen()) return connection;
    if (errno == EINTR || errno == ECONNABORTED) continue;
    const bool outOfDescriptors = errno == EMFILE || errno == ENFILE;
    if (!outOfDescriptors || !refuseOne()) return connection;
  }
}

bool Listener::refuseOne() {
  m_reserve.reset();
  const bool refused = Descriptor{accept4(m_socket.get(), nullptr, nullptr, kAcceptFlags)}.isOpen();
  m_reserve = openReserve();
  if (refused) std::fputs("orvdb_server: out of file descriptors, a connection is refused\n", stderr);
  return refused;
}

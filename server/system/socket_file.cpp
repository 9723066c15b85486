#include "system/socket_file.h"

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include "system/failure.h"

namespace {

sockaddr_un addressOf(const std::string &path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path.empty() || path.size() >= sizeof address.sun_path) {
    fail(path, "a socket path has 1 to " + std::to_string(sizeof address.sun_path - 1) + " bytes");
  }
  path.copy(address.sun_path, path.size());
  return address;
}

const sockaddr *generic(const sockaddr_un &address) { return reinterpret_cast<const sockaddr *>(&address); }

Descriptor openSocket(const std::string &path) {
  Descriptor made{socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0)};
  if (!made.isOpen()) failWithErrno(path);
  return made;
}

// Removes what a dead server left behind. A server that does not accept at the moment answers with EAGAIN and counts as
// alive.
void clearPath(const std::string &path, const sockaddr_un &address) {
  struct stat file {};
  if (lstat(path.c_str(), &file) != 0) {
    if (errno == ENOENT) return;
    failWithErrno(path);
  }
  if (!S_ISSOCK(file.st_mode)) fail(path, "exists and is not a socket");
  const Descriptor probe = openSocket(path);
  if (connect(probe.get(), generic(address), sizeof address) == 0 || errno == EAGAIN) {
    fail(path, "another server answers there");
  }
  if (errno == ECONNREFUSED && unlink(path.c_str()) == 0) return;
  fail(path, std::string(std::strerror(errno)) + ", it belongs to user " + std::to_string(file.st_uid));
}

// A socket's own mode becomes that of its file.
bool bindWithMode(int socket, const sockaddr_un &address, mode_t mode) {
  const mode_t mask = umask(0);
  const bool isBound = fchmod(socket, mode) == 0 && bind(socket, generic(address), sizeof address) == 0;
  umask(mask);
  return isBound;
}

bool setGroup(const std::string &path, gid_t group) {
  return group == static_cast<gid_t>(-1) || lchown(path.c_str(), static_cast<uid_t>(-1), group) == 0;
}

}  // namespace

// The rights are final before anyone can connect.
SocketFile::SocketFile(std::string path, const Rights &rights, int backlog) : m_path(std::move(path)) {
  const sockaddr_un address = addressOf(m_path);
  clearPath(m_path, address);
  m_socket = openSocket(m_path);
  struct stat file {};
  if (!bindWithMode(descriptor(), address, rights.mode) || lstat(m_path.c_str(), &file) != 0) failWithErrno(m_path);
  m_device = file.st_dev;
  m_inode = file.st_ino;
  if (setGroup(m_path, rights.group) && listen(descriptor(), backlog) == 0) return;
  const std::string reason = std::strerror(errno);
  unlink(m_path.c_str());
  fail(m_path, reason);
}

SocketFile::~SocketFile() {
  if (state() == State::kThere) unlink(m_path.c_str());
}

SocketFile::State SocketFile::state() const {
  struct stat file {};
  if (lstat(m_path.c_str(), &file) != 0) return errno == ENOENT ? State::kVanished : State::kThere;
  return file.st_dev == m_device && file.st_ino == m_inode ? State::kThere : State::kReplaced;
}

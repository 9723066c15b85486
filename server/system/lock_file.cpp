#include "system/lock_file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "system/failure.h"

namespace {

[[noreturn]] void failWithOwner(const std::string &path, const std::string &reason) {
  struct stat found {};
  const bool isForeign = lstat(path.c_str(), &found) == 0 && found.st_uid != geteuid();
  fail(path, isForeign ? reason + ", it belongs to user " + std::to_string(found.st_uid) : reason);
}

Descriptor openFile(const std::string &path) {
  Descriptor file{open(path.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600)};
  if (file.isOpen()) return file;
  failWithOwner(path, std::strerror(errno));
}

// A server that ends removes its file, which another one may have opened before that.
bool isStillThere(const Descriptor &file, const std::string &path) {
  struct stat opened {};
  struct stat found {};
  return fstat(file.get(), &opened) == 0 && lstat(path.c_str(), &found) == 0 && opened.st_dev == found.st_dev &&
         opened.st_ino == found.st_ino;
}

}  // namespace

LockFile::LockFile(std::string path) : m_path(std::move(path)) {
  do {
    m_file = openFile(m_path);
    if (flock(m_file.get(), LOCK_EX | LOCK_NB) == 0) continue;
    if (errno == EWOULDBLOCK) failWithOwner(m_path, "another server is running");
    failWithErrno(m_path);
  } while (!isStillThere(m_file, m_path));
}

LockFile::~LockFile() {
  if (isStillThere(m_file, m_path)) unlink(m_path.c_str());
}

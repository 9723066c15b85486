#include "terminal/input.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>

#include "descriptor.h"
#include "exit_status.h"

namespace {

[[noreturn]] void fail(const std::string &path) { throw Failure("cannot read " + path + ": " + std::strerror(errno)); }

}  // namespace

std::string readInput(const std::string &path) {
  const Descriptor file(path == "-" ? dup(STDIN_FILENO) : open(path.c_str(), O_RDONLY | O_CLOEXEC));
  if (!file.isOpen()) fail(path);
  std::string bytes;
  std::array<char, 4096> part{};
  ssize_t length = 0;
  while ((length = read(file.get(), part.data(), part.size())) > 0) {
    bytes.append(part.data(), static_cast<std::size_t>(length));
  }
  if (length < 0) fail(path);
  return bytes;
}

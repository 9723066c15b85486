#include "support/server_status.h"

#include <sys/socket.h>
#include <sys/un.h>

#include <array>
#include <cerrno>
#include <regex>
#include <stdexcept>
#include <system_error>

#include "support/unique_fd.h"

ServerStatus::ServerStatus(const std::string &path) {
  const UniqueFd socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  path.copy(address.sun_path, sizeof address.sun_path - 1);
  if (connect(socket.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0) {
    throw std::system_error(errno, std::generic_category(), "connect to " + path);
  }
  std::array<char, 65536> piece;
  for (ssize_t count; (count = recv(socket.get(), piece.data(), piece.size(), 0)) > 0;) {
    text_.append(piece.data(), static_cast<std::size_t>(count));
  }
}

std::uint64_t ServerStatus::number(const std::string &name) const {
  const std::string label = '"' + name + "\": ";
  const std::size_t begin = text_.find(label);
  if (begin == std::string::npos) throw std::runtime_error("no " + name + " in the server's status: " + text_);
  return std::stoull(text_.substr(begin + label.size()));
}

std::size_t ServerStatus::connectionsOf(pid_t pid) const {
  const std::regex entry("\"pid\": " + std::to_string(pid) + ",");
  return static_cast<std::size_t>(
      std::distance(std::sregex_iterator(text_.begin(), text_.end(), entry), std::sregex_iterator()));
}

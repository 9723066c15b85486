// The part of systemd that a service tells how it does.
#pragma once

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <cstddef>
#include <string>
#include <vector>

#include "support/unique_fd.h"
#include "support/wait.h"

class ServiceManager {
 public:
  static constexpr char kFiller[] = "x";

  // A name that begins with '@' is abstract.
  explicit ServiceManager(const std::string &name)
      : socket_(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)),
        size_(static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + name.size())) {
    address_.sun_family = AF_UNIX;
    name.copy(address_.sun_path, sizeof address_.sun_path - 1);
    if (name[0] == '@') address_.sun_path[0] = '\0';
    EXPECT_EQ(bind(socket_.get(), generic(), size_), 0);
  }

  // The next that it is told; empty if that does not come in time.
  std::string receive(std::chrono::milliseconds patience = kPatience) const {
    pollfd readable{socket_.get(), POLLIN, 0};
    if (poll(&readable, 1, static_cast<int>(patience.count())) != 1) return "";
    std::string text(1000, '\0');
    const ssize_t size = recv(socket_.get(), text.data(), text.size(), 0);
    text.resize(size > 0 ? static_cast<std::size_t>(size) : 0);
    return text;
  }

  std::vector<std::string> receiveWhatIsThere() const {
    std::vector<std::string> texts;
    for (std::string text; !(text = receive(std::chrono::milliseconds(0))).empty();)
      texts.push_back(text);
    return texts;
  }

  // Leaves no room for anything more, and returns how much there was.
  int fill() const {
    const UniqueFd filler(socket(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    int count = 0;
    while (sendto(filler.get(), kFiller, 1, 0, generic(), size_) == 1)
      ++count;
    return count;
  }

 private:
  const sockaddr *generic() const { return reinterpret_cast<const sockaddr *>(&address_); }

  UniqueFd socket_;
  sockaddr_un address_{};
  const socklen_t size_;
};

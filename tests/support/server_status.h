// What orvdb_server says of itself on its status socket.
//
//   EXPECT_EQ(ServerStatus(path).number("resyncs"), 1U);
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>

class ServerStatus {
 public:
  // Throws when nobody answers at `path`.
  explicit ServerStatus(const std::string &path);

  // The first number with that name: that of the server as a whole. Throws when there is none.
  std::uint64_t number(const std::string &name) const;
  // How many connections the process has.
  std::size_t connectionsOf(pid_t pid) const;
  const std::string &text() const { return text_; }

 private:
  std::string text_;
};

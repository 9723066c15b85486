// What the server reports when it can't go on.
#pragma once

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <string>

[[noreturn]] inline void fail(const std::string &subject, const std::string &reason) {
  throw std::runtime_error(subject + ": " + reason);
}

[[noreturn]] inline void failWithErrno(const std::string &subject) { fail(subject, std::strerror(errno)); }

// What a program of the soak run and its driver tell each other: numbers in a file that both have mapped, and that a
// child process shares with its parent.
#pragma once

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <string>
#include <system_error>

#include "support/unique_fd.h"

struct Tally {
  using Number = std::atomic<std::uint64_t>;
  Number heard;  // changes that name what has changed
  Number told;   // gaps: changes of a whole table that are announced row by row otherwise
  Number heardSinceTold;
  Number written;
  Number refused;  // writes that failed or whose fate is not known
  Number rounds;   // children or visits that came to a good end
  Number failed;   // those that did not

  Number isPaused;   // set by the driver: write no more
  Number isResting;  // set by the program: it writes no more
};
static_assert(Tally::Number::is_always_lock_free);

class MappedTally {
 public:
  explicit MappedTally(const std::string &path) {
    const UniqueFd file(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
    if (ftruncate(file.get(), sizeof(Tally)) != 0) fail(path);
    void *page = mmap(nullptr, sizeof(Tally), PROT_READ | PROT_WRITE, MAP_SHARED, file.get(), 0);
    if (page == MAP_FAILED) fail(path);
    tally_ = static_cast<Tally *>(page);
  }
  MappedTally(const MappedTally &) = delete;
  MappedTally &operator=(const MappedTally &) = delete;
  ~MappedTally() { munmap(tally_, sizeof(Tally)); }

  Tally *operator->() const { return tally_; }
  Tally &operator*() const { return *tally_; }

 private:
  [[noreturn]] static void fail(const std::string &path) {
    throw std::system_error(errno, std::generic_category(), "map " + path);
  }

  Tally *tally_;
};

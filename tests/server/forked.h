// A client in a process of its own, forked from the test.
//
//   const Forked sleeper([&] { ServerClient client(path); ...; pause(); });
//
// The process ends with its body, with status 0, or 1 when it throws; at the latest it ends with its object.
#pragma once

#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <exception>
#include <utility>

class Forked {
 public:
  template <typename Body>
  explicit Forked(Body body) : pid_(fork()) {
    if (pid_ == 0) run(body);
  }
  Forked(Forked &&other) noexcept : pid_(std::exchange(other.pid_, -1)) {}
  Forked &operator=(Forked &&) = delete;
  ~Forked() {
    if (pid_ <= 0) return;
    kill(pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
  }

  pid_t pid() const { return pid_; }

  // Returns whether it has ended with status 0.
  bool waitForEnd() {
    int status = 0;
    return waitpid(std::exchange(pid_, -1), &status, 0) > 0 && status == 0;
  }

 private:
  template <typename Body>
  [[noreturn]] static void run(Body &body) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    try {
      body();
    } catch (const std::exception &) {
      _exit(1);
    }
    _exit(0);
  }

  pid_t pid_;
};

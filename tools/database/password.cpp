#include "database/password.h"

#include <fcntl.h>
#include <signal.h>
#include <termios.h>

#include <array>
#include <cerrno>
#include <cstring>

#include "descriptor.h"
#include "exit_status.h"

namespace {

constexpr std::array kEndingSignals{SIGINT, SIGTERM, SIGQUIT, SIGHUP};

volatile sig_atomic_t s_signal = 0;

void noteSignal(int number) { s_signal = number; }

// Lets a signal interrupt the reading in place of ending the program, and ends it afterwards: the terminal has to show
// again what is typed.
class DeferredSignals {
 public:
  DeferredSignals() {
    struct sigaction action {};
    action.sa_handler = noteSignal;
    for (std::size_t i = 0; i < kEndingSignals.size(); ++i) {
      sigaction(kEndingSignals[i], &action, &before_[i]);
    }
  }
  ~DeferredSignals() {
    for (std::size_t i = 0; i < kEndingSignals.size(); ++i) {
      sigaction(kEndingSignals[i], &before_[i], nullptr);
    }
    if (s_signal != 0) raise(s_signal);
  }
  DeferredSignals(const DeferredSignals &) = delete;
  DeferredSignals &operator=(const DeferredSignals &) = delete;

 private:
  std::array<struct sigaction, kEndingSignals.size()> before_{};
};

class HiddenInput {
 public:
  explicit HiddenInput(int terminal) : terminal_(terminal) {
    tcgetattr(terminal_, &before_);
    termios hidden = before_;
    hidden.c_lflag &= ~static_cast<tcflag_t>(ECHO);
    tcsetattr(terminal_, TCSAFLUSH, &hidden);
  }
  ~HiddenInput() { tcsetattr(terminal_, TCSAFLUSH, &before_); }
  HiddenInput(const HiddenInput &) = delete;
  HiddenInput &operator=(const HiddenInput &) = delete;

 private:
  const int terminal_;
  termios before_{};
};

void write(int terminal, const char *text) {
  if (::write(terminal, text, std::strlen(text)) < 0) throw Failure("cannot write to the terminal");
}

std::string readLine(int terminal) {
  std::string line;
  for (char next = 0; s_signal == 0 && read(terminal, &next, 1) == 1 && next != '\n';) {
    line += next;
  }
  return line;
}

}  // namespace

std::string askPassword() {
  const Descriptor terminal(open("/dev/tty", O_RDWR | O_CLOEXEC | O_NOCTTY));
  if (!terminal.isOpen()) throw Failure("there is no terminal to ask for the password: set MYSQL_PWD instead of -p");
  const DeferredSignals deferred;
  const HiddenInput hidden(terminal.get());
  write(terminal.get(), "Password: ");
  std::string password = readLine(terminal.get());
  if (s_signal != 0) throw Failure("no password was typed");
  write(terminal.get(), "\n");
  return password;
}

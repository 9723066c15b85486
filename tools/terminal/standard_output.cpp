#include "terminal/standard_output.h"

#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>

#include "exit_status.h"

std::size_t terminalWidth() {
  winsize size{};
  return ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 ? size.ws_col : 0;
}

// The library ignores SIGPIPE, so that a reader's end has to be looked for.
bool readerIsGone() {
  pollfd output{STDOUT_FILENO, 0, 0};
  return poll(&output, 1, 0) == 1 && (output.revents & POLLERR) != 0;
}

void finishOutput() {
  const bool isWritten = std::fflush(stdout) == 0 && std::ferror(stdout) == 0;
  const int reason = errno;
  if (!isWritten && !readerIsGone()) throw Failure(std::string("cannot write: ") + std::strerror(reason));
}

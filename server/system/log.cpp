#include "system/log.h"

#include <fcntl.h>
#include <poll.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>

#include "system/datagram.h"

namespace {

constexpr std::chrono::seconds kPause{1};  // between two lines of a kind
constexpr std::size_t kLongestLine = 1000;
constexpr char kSyslogPath[] = "/dev/log";

// Standard error as a file of our own, that never waits: to change the one that we were given would change it for all
// who share it. A socket, as systemd gives it, can't be opened again and does not need to be.
Descriptor openStandardError() {
  constexpr int kFlags = O_WRONLY | O_APPEND | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
  Descriptor opened{open("/proc/self/fd/2", kFlags)};
  return opened.isOpen() ? std::move(opened) : Descriptor{fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 0)};
}

// One that could not be opened again may wait when it is full.
bool takesBytes(int fd) {
  pollfd state{fd, POLLOUT, 0};
  return poll(&state, 1, 0) == 1 && (state.revents & POLLOUT) != 0;
}

}  // namespace

Log::Log(bool usesSyslog)
    : m_usesSyslog(usesSyslog),
      m_hasPrefix(std::getenv("JOURNAL_STREAM") != nullptr),
      m_output(usesSyslog ? connectDatagram(kSyslogPath) : openStandardError()) {}

void Log::write(Priority priority, const char *kind, const std::string &text) {
  const auto [found, isNew] = m_kinds.try_emplace(kind);
  Kind &known = found->second;
  known.priority = priority;
  known.lastText = text;
  const auto now = Clock::now();
  if (!isNew && now - known.lastLine < kPause) {
    ++known.leftOut;
    return;
  }
  known.lastLine = now;
  put(priority, text);
}

void Log::tick() {
  const auto now = Clock::now();
  for (auto &[name, kind] : m_kinds) {
    if (kind.leftOut == 0 || now - kind.lastLine < kPause) continue;
    put(kind.priority, kind.lastText + " (" + std::to_string(kind.leftOut) + " like it)");
    kind.leftOut = 0;
    kind.lastLine = now;
  }
}

void Log::put(Priority priority, std::string text) {
  text.resize(std::min(text.size(), kLongestLine));
  if (m_usesSyslog) return putToSyslog(priority, text);
  const std::string line =
      (m_hasPrefix ? "<" + std::to_string(priority) + ">" : std::string("orvdb_server: ")) + text + "\n";
  if (sendWithoutWaiting(m_output.get(), line) || errno != ENOTSOCK || !takesBytes(m_output.get())) return;
  [[maybe_unused]] const ssize_t written = ::write(m_output.get(), line.data(), line.size());
}

// Once more on a fresh socket: the log's daemon may have been restarted.
void Log::putToSyslog(Priority priority, const std::string &text) {
  const std::string line = "<" + std::to_string(LOG_DAEMON | static_cast<int>(priority)) + ">orvdb_server[" +
                           std::to_string(getpid()) + "]: " + text;
  if (m_output.isOpen() && sendWithoutWaiting(m_output.get(), line)) return;
  m_output = connectDatagram(kSyslogPath);
  if (m_output.isOpen()) sendWithoutWaiting(m_output.get(), line);
}

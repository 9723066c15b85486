#include "system/peer.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdlib>
#include <ctime>

#include "system/descriptor.h"

namespace {

constexpr int kFieldsFromStateToStartTime = 19;

// "PID (COMMAND) STATE FIELD ...": the command may hold any character, so its end is the last parenthesis. Unlike the
// command line, this file is read without waiting for the process.
std::string readStat(pid_t pid) {
  std::array<char, 1024> text;
  const Descriptor file{open(("/proc/" + std::to_string(pid) + "/stat").c_str(), O_RDONLY | O_CLOEXEC)};
  const ssize_t size = file.isOpen() ? read(file.get(), text.data(), text.size()) : 0;
  return size > 0 ? std::string(text.data(), static_cast<std::size_t>(size)) : std::string();
}

// A process chooses the name of its command itself: it must not write lines of its own into the log.
bool isUnprintable(char character) { return std::isprint(static_cast<unsigned char>(character)) == 0; }

void readCommandAndStartTime(Peer &peer, const std::string &stat) {
  const std::size_t begin = stat.find('(');
  const std::size_t end = stat.rfind(')');
  if (begin == std::string::npos || end == std::string::npos) return;
  peer.command = stat.substr(begin + 1, end - begin - 1);
  std::replace_if(peer.command.begin(), peer.command.end(), isUnprintable, '?');
  std::size_t field = end;
  for (int i = 0; i <= kFieldsFromStateToStartTime && field != std::string::npos; ++i)
    field = stat.find(' ', field + 1);
  if (field != std::string::npos) peer.startTime = std::strtoull(stat.c_str() + field, nullptr, 10);
}

}  // namespace

Peer peerOf(int socket) {
  Peer peer;
  ucred credentials{};
  socklen_t size = sizeof credentials;
  if (getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &credentials, &size) != 0) return peer;
  peer.pid = credentials.pid;
  peer.uid = credentials.uid;
  peer.gid = credentials.gid;
  if (peer.pid > 0) readCommandAndStartTime(peer, readStat(peer.pid));
  return peer;
}

std::string describe(const Peer &peer) {
  return "process " + std::to_string(peer.pid) + " (" + peer.command + ", user " + std::to_string(peer.uid) + ")";
}

std::uint64_t ticksSinceBoot() {
  timespec now{};
  clock_gettime(CLOCK_BOOTTIME, &now);
  const auto ticks = static_cast<std::uint64_t>(sysconf(_SC_CLK_TCK));
  return static_cast<std::uint64_t>(now.tv_sec) * ticks +
         static_cast<std::uint64_t>(now.tv_nsec) * ticks / 1'000'000'000;
}

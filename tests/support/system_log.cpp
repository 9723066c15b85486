#include "support/system_log.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <regex>
#include <stdexcept>
#include <system_error>

#include "support/private_root.h"

namespace {

constexpr char kLogSocket[] = "/dev/log";
constexpr std::size_t kLongestLine = 65536;

[[noreturn]] void fail(const std::string &what) { throw std::system_error(errno, std::generic_category(), what); }

// "<11>Nov 20 10:36:01 QZ_test[123]: text", the time and the process id being optional.
LogLine parse(const std::string &datagram) {
  static const std::regex head(R"(^<(\d+)>(?:\w{3} [ \d]\d \d\d:\d\d:\d\d )?([^:\[]*)(\[\d+\])?: )");
  std::smatch found;
  if (!std::regex_search(datagram, found, head)) throw std::runtime_error("unexpected log line: " + datagram);
  return {std::stoi(found[1]), found[2], found.suffix()};
}

}  // namespace

SystemLog::SystemLog() : socket_(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)) {
  if (!inPrivateRoot())
    throw std::runtime_error("runs only under private_root: the machine's log is not to be touched");
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::string(kLogSocket).copy(address.sun_path, sizeof address.sun_path - 1);
  if (bind(socket_.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0) fail("bind /dev/log");
}

SystemLog::~SystemLog() { unlink(kLogSocket); }

const std::vector<LogLine> &SystemLog::lines() {
  std::string datagram(kLongestLine, '\0');
  ssize_t length = 0;
  while ((length = recv(socket_.get(), datagram.data(), datagram.size(), 0)) >= 0) {
    lines_.push_back(parse(datagram.substr(0, static_cast<std::size_t>(length))));
  }
  return lines_;
}

std::vector<std::string> SystemLog::texts() {
  std::vector<std::string> texts;
  for (const LogLine &line : lines())
    texts.push_back(line.text);
  return texts;
}

LogLine SystemLog::waitForLine(const std::string &part, std::chrono::milliseconds patience) {
  std::vector<LogLine>::const_iterator found;
  const auto isHere = [&] {
    const std::vector<LogLine> &all = lines();
    found = std::find_if(all.begin(), all.end(),
                         [&](const LogLine &line) { return line.text.find(part) != std::string::npos; });
    return found != all.end();
  };
  if (!waitUntil(isHere, patience)) throw std::runtime_error("no log line in time with: " + part);
  return *found;
}

#include "server/process_state.h"

#include <unistd.h>

#include <filesystem>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <string>

#include "support/program.h"
#include "support/wait.h"

namespace {

constexpr int kFieldsFromStateToUserTime = 11;

// From the state on: the name before it may hold anything.
std::istringstream readStat(pid_t pid) {
  const std::string stat = readFile("/proc/" + std::to_string(pid) + "/stat");
  return std::istringstream(stat.substr(stat.rfind(')') + 2));
}

}  // namespace

void waitForRest(pid_t pid) {
  if (!waitUntil([pid] { return readStat(pid).get() == 'S'; })) throw std::runtime_error("a process does not rest");
}

void stopProcess(pid_t pid) {
  kill(pid, SIGSTOP);
  if (!waitUntil([pid] { return readStat(pid).get() == 'T'; })) throw std::runtime_error("a process does not stop");
}

std::chrono::milliseconds processorTime(pid_t pid) {
  std::istringstream stat = readStat(pid);
  std::string skipped;
  for (int i = 0; i < kFieldsFromStateToUserTime; ++i)
    stat >> skipped;
  long userTicks = 0;
  long systemTicks = 0;
  stat >> userTicks >> systemTicks;
  return std::chrono::milliseconds((userTicks + systemTicks) * 1000 / sysconf(_SC_CLK_TCK));
}

std::chrono::milliseconds processorTimeDuring(std::chrono::milliseconds span, pid_t pid) {
  const auto end = std::chrono::steady_clock::now() + span;
  const std::chrono::milliseconds before = processorTime(pid);
  waitUntil([end] { return std::chrono::steady_clock::now() > end; });
  return processorTime(pid) - before;
}

std::size_t openDescriptors(pid_t pid) {
  const std::filesystem::directory_iterator files("/proc/" + std::to_string(pid) + "/fd");
  return static_cast<std::size_t>(std::distance(begin(files), end(files)));
}

void limitDescriptors(pid_t pid, std::size_t count) {
  rlimit limit{};
  const bool isKnown = prlimit(pid, RLIMIT_NOFILE, nullptr, &limit) == 0;
  limit.rlim_cur = count;
  if (!isKnown || prlimit(pid, RLIMIT_NOFILE, &limit, nullptr) != 0) throw std::runtime_error("no limit can be set");
}

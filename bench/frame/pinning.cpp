#include "frame/pinning.h"

#include <sched.h>

#include <filesystem>
#include <string>
#include <vector>

namespace {

// As they were before anything was pinned; none where nobody is pinned.
std::vector<int> s_processors;

std::vector<int> allowedProcessors() {
  std::vector<int> allowed;
  cpu_set_t set;
  if (sched_getaffinity(0, sizeof set, &set) != 0) return allowed;
  for (int number = 0; number < CPU_SETSIZE; ++number) {
    if (CPU_ISSET(static_cast<std::size_t>(number), &set)) allowed.push_back(number);
  }
  return allowed;
}

int processorOf(Role role) {
  switch (role) {
    case Role::kMeasured:
      return s_processors.back();
    case Role::kReader:
      return s_processors[s_processors.size() > 2 ? 1 : 0];
    default:
      return s_processors.front();
  }
}

void pin(pid_t thread, Role role) {
  if (s_processors.size() < 2) return;
  cpu_set_t chosen;
  CPU_ZERO(&chosen);
  CPU_SET(static_cast<std::size_t>(processorOf(role)), &chosen);
  sched_setaffinity(thread, sizeof chosen, &chosen);  // a wish: a container may refuse it
}

}  // namespace

void startPinning() {
  s_processors = allowedProcessors();
  pin(0, Role::kMeasured);
}

void unpinThread() {
  if (s_processors.empty()) return;
  cpu_set_t all;
  CPU_ZERO(&all);
  for (const int processor : s_processors)
    CPU_SET(static_cast<std::size_t>(processor), &all);
  sched_setaffinity(0, sizeof all, &all);
}

void pinProcess(pid_t pid, Role role) {
  for (const auto &task : std::filesystem::directory_iterator("/proc/" + std::to_string(pid) + "/task"))
    pin(std::stoi(task.path().filename()), role);
}

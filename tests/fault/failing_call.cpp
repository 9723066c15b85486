#include "fault/failing_call.h"

#include <cstdlib>
#include <cstring>

namespace {

constexpr std::size_t kLongestName = 32;

struct FailurePlan {
  char function[kLongestName] = "";
  int callsLeft = 0;
  bool happened = false;
  int suspended = 0;

  void set(const char *name, std::size_t length, int nth) {
    std::memcpy(function, name, length);
    function[length] = '\0';
    callsLeft = nth;
    happened = false;
  }
};

thread_local FailurePlan s_plan;
bool s_environmentRead = false;

// The first call of all comes before the process has any other thread.
void readEnvironment() {
  s_environmentRead = true;
  const char *setting = std::getenv(kFailAtLoad);
  const char *colon = setting != nullptr ? std::strchr(setting, ':') : nullptr;
  if (colon != nullptr) s_plan.set(setting, static_cast<std::size_t>(colon - setting), std::atoi(colon + 1));
}

}  // namespace

FailingCall::FailingCall(const char *function, int nth) { s_plan.set(function, std::strlen(function), nth); }

FailingCall::~FailingCall() { s_plan.callsLeft = 0; }

bool FailingCall::happened() const { return s_plan.happened; }

NoFailures::NoFailures() { ++s_plan.suspended; }

NoFailures::~NoFailures() { --s_plan.suspended; }

bool failsNow(const char *function) {
  if (!s_environmentRead) readEnvironment();
  if (s_plan.callsLeft == 0 || s_plan.suspended != 0 || std::strcmp(function, s_plan.function) != 0) return false;
  s_plan.happened = --s_plan.callsLeft == 0;
  return s_plan.happened;
}

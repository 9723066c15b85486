// What the system says of another process, and holding it up.
#pragma once

#include <signal.h>
#include <sys/resource.h>
#include <sys/types.h>

#include <chrono>
#include <cstddef>

// Returns when the process has nothing to do.
void waitForRest(pid_t pid);

// Returns when the process has stopped: whatever is written to it from then on is there all at once when it goes on.
void stopProcess(pid_t pid);
inline void resumeProcess(pid_t pid) { kill(pid, SIGCONT); }

// That it has used so far.
std::chrono::milliseconds processorTime(pid_t pid);

// That it uses while a time passes in which it has nothing to do.
std::chrono::milliseconds processorTimeDuring(std::chrono::milliseconds span, pid_t pid);

std::size_t openDescriptors(pid_t pid);

// From now on it gets none from this number on; those that it has stay.
void limitDescriptors(pid_t pid, std::size_t count);

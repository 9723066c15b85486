// Processors for those who take part in a measurement, so that they do not wander about. The measured thread has one
// for itself where there are two, and so have those that read what it announces where there are three.
#pragma once

#include <sys/types.h>

enum class Role { kMeasured, kDatabase, kReader };

// Pins this thread as the measured one. Without it nobody is pinned.
void startPinning();
// For a thread that the measured one has started, where several are measured at once.
void unpinThread();
// All threads that the process has by now, and those that they start.
void pinProcess(pid_t pid, Role role);

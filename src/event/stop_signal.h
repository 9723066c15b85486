// The signal that stops the message thread.
#pragma once

#include <signal.h>

inline int stopSignal() { return SIGRTMAX - 1; }

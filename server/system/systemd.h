// What a service of systemd says and hears; nothing at all where there is no systemd.
#pragma once

#include "system/descriptor.h"

// The listening socket that systemd hands over; not open when there is none.
Descriptor takeSystemdSocket();

// For example "READY=1".
void notifySystemd(const char *state);

// Is it to be told now and then that we are alive, with "WATCHDOG=1"?
bool hasSystemdWatchdog();

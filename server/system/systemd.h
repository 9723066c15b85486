// What a service of systemd says and hears; nothing at all where there is no systemd.
#pragma once

#include <string>

#include "system/descriptor.h"

// The listening socket that systemd hands over; not open when there is none.
Descriptor takeSystemdSocket();

// Keeps its socket, since it has to be heard when there are no descriptors left, too.
class SystemdNotifier {
 public:
  SystemdNotifier();

  // For example "READY=1". False when it could not be handed over now.
  bool notify(const std::string &state) const;

 private:
  Descriptor m_socket;  // not open where nobody listens
};

// Is it to be told now and then that we are alive, with "WATCHDOG=1"?
bool hasSystemdWatchdog();

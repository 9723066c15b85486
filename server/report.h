// What the server says of itself.
#pragma once

#include <chrono>
#include <string>

#include "forwarding/hub.h"

// One JSON document.
std::string makeReport(const Hub &hub, std::chrono::seconds uptime);

// How soon all clients have repeated their registrations after a restart of the notification server.
#pragma once

#include "frame/bench.h"

void measureRestart(Bench &bench);

// How long a process takes that only loads the library.
#pragma once

#include "frame/bench.h"

void measureStartUp(Bench &bench);

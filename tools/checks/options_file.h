// The file from which the library lets its client library read options.
#pragma once

#include "checks/finding.h"

// Names the options that count, and none of their values: there are passwords among them.
Finding checkOptionsFile();

// Whether changes come through.
#pragma once

#include "checks/finding.h"

// Lets another process announce a change, and waits for it. With a problem that stands in the way already, that.
Finding checkRoundTrip();

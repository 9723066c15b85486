// The tables of the fork storms.
#pragma once

#include "support/database.h"

constexpr char kBeats[] = "beats";           // nothing is stored there: it is announced, for whoever wants to hear
constexpr char kCounted[] = "counted";       // likewise, and each announcement has the next number
constexpr char kChildren[] = "children";     // a row of each child
constexpr char kWrittenTable[] = "written";  // of the parent
constexpr char kNumbersTable[] = "numbers";  // 1 to kNumbers
constexpr int kNumbers = 50;

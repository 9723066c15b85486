// A change as a line of text, without its end.
#pragma once

#include <cstddef>
#include <string>

#include "changes/change_queue.h"

// The table's name is filled up to that width.
std::string changeForPeople(const Change &change, std::size_t tableWidth);

std::string changeAsJson(const Change &change);

// The text of the last failure: one for the whole process, without a lock. Its sharing is part of the interface.
#pragma once

#include <cstddef>

constexpr std::size_t kErrorTextSize = 128;

extern char s_szErrorStr[kErrorTextSize];

void clearLastError();

// At most 127 characters are kept; null makes the text empty.
void setLastError(const char *text);

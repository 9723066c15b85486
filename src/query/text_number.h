// Text to integer as the target's 32-bit `long` does it, on every platform: leading blanks and a sign are taken, what
// follows the digits is ignored, no digits give 0, and numbers out of range end at the limits.
#pragma once

#include <cstdint>

std::int32_t textToLong(const char *text);

// A negative number wraps within 32 bits; one that does not fit, of either sign, gives 0xFFFFFFFF.
std::uint32_t textToUnsignedLong(const char *text);

// What the listening programs share: their standard output is a socket to the program that measures. They report there
// when they are ready, and then for each change how long it was on its way, which its row id tells. Nobody waits at a
// socket that reports are written to: each report that is read at its other end would wake him.
#pragma once

#include <unistd.h>

#include <chrono>
#include <cstdint>

constexpr char kDb[] = "bench";
constexpr char kTable[] = "t";

constexpr int kReports = STDOUT_FILENO;
using Nanoseconds = std::uint64_t;

// Of a clock that all processes share.
inline Nanoseconds now() {
  return static_cast<Nanoseconds>(std::chrono::steady_clock::now().time_since_epoch() / std::chrono::nanoseconds(1));
}

// False when nobody is there any more.
inline bool report(Nanoseconds value) { return write(kReports, &value, sizeof value) == sizeof value; }
inline bool reportReady() { return report(0); }

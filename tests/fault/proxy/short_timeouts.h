// The library asks for time-outs of 20 seconds, and no options file can change those of reading and writing. Here it
// gets what a test chooses: the calls of mysql_options() in its objects are led to short_timeouts.cpp by the linker.
#pragma once

// For the connections opened while it lives.
class ShortTimeouts {
 public:
  explicit ShortTimeouts(unsigned int seconds);
  ~ShortTimeouts();
  ShortTimeouts(const ShortTimeouts &) = delete;
  ShortTimeouts &operator=(const ShortTimeouts &) = delete;
};

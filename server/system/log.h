// The server's log: standard error, or the system log. A line that can't be written at once is dropped, for the server
// waits for nobody.
#pragma once

#include <map>
#include <string>

#include "system/clock.h"
#include "system/descriptor.h"

class Log {
 public:
  // Priorities of the system log.
  enum Priority : int { kError = 3, kWarning = 4, kInfo = 6 };

  explicit Log(bool usesSyslog);

  // At most one line per kind and second. A kind is a few words.
  void write(Priority priority, const char *kind, const std::string &text);

  // Says how many lines were left out. To be called now and then.
  void tick();

 private:
  struct Kind {
    Clock::time_point lastLine;
    unsigned long leftOut = 0;
    Priority priority = kInfo;
    std::string lastText;
  };

  void put(Priority priority, std::string text);
  void putToSyslog(Priority priority, const std::string &text);

  const bool m_usesSyslog;
  const bool m_hasPrefix;  // systemd reads a line's priority from its beginning
  Descriptor m_output;
  std::map<std::string, Kind> m_kinds;
};

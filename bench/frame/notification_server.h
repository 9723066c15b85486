// The notification server at its fixed path, which is private here, and what is measured in its place.
#pragma once

#include <string>
#include <vector>

#include "frame/child_process.h"
#include "frame/record_socket.h"

// A program that clients connect to.
class ServerProgram {
 public:
  // Returns when it accepts connections at `path`.
  ServerProgram(std::vector<std::string> command, std::string path);

  pid_t pid() const { return m_process.pid(); }
  const std::string &path() const { return m_path; }
  RecordSocket connect() const { return RecordSocket::connect(m_path); }

 private:
  std::string m_path;
  ChildProcess m_process;
};

class NotificationServer : public ServerProgram {
 public:
  // Without reminders of what may have been missed, which would come in between, unless the options ask for them.
  explicit NotificationServer(const std::vector<std::string> &options = {"--resync=never"});
  // At a path of its own.
  NotificationServer(const std::vector<std::string> &options, const std::string &path);
};

// Knows neither keys nor limits: passes every change on to all others that have registered for anything.
class Relay : public ServerProgram {
 public:
  enum Manner { kEach, kRuns };  // one record at a time, or all that are there
  Relay(Manner manner, const std::string &path);
};

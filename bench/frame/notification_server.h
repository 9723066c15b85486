// The notification server at its fixed path, which is private here.
#pragma once

#include "frame/child_process.h"
#include "frame/record_socket.h"

class NotificationServer {
 public:
  // Returns when it accepts connections.
  NotificationServer();

  pid_t pid() const { return m_process.pid(); }
  static RecordSocket connect();

 private:
  ChildProcess m_process;
};

// The servers that are measured, each in a process of its own.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

class ServerProcess {
 public:
  // Returns when it answers. The folder is for its sockets.
  ServerProcess(const std::string &name, const std::string &folder);
  ServerProcess(ServerProcess &&other) noexcept;
  ServerProcess &operator=(ServerProcess &&) = delete;
  ~ServerProcess();

  const std::string &name() const { return m_name; }
  const std::string &socket() const { return m_socket; }

  // Resident memory, in KiB.
  long residentKib() const;
  // A number of its status report; 0 for the relays, which have none.
  long reported(const std::string &key) const;

 private:
  std::string m_name;
  std::string m_socket;
  std::string m_status;
  pid_t m_pid = -1;
};

// "orvdb_server" first, then the relays.
const std::vector<std::string> &serverNames();

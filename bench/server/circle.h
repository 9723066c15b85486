// Those who write and read by a server, without the library. One thread does both, so that nobody else is awake.
#pragma once

#include <cstddef>
#include <vector>

#include "frame/notification_server.h"

// So few that they fit into a socket: they are written before the first of them is read.
constexpr std::size_t kChanges = 50;

class Circle {
 public:
  static constexpr std::size_t kAll = kChanges * kRecordSize;

  // Each of the readers asks for so many bytes at a time.
  Circle(const ServerProgram &server, std::size_t readers, std::size_t readSize = kAll);

  // Writes so many changes, and reads them with all readers.
  void pass() const;
  // How long each change was on its way, one after the other for so many seconds. Sorted.
  std::vector<double> latencies(double seconds) const;

 private:
  RecordSocket m_writer;
  std::vector<RecordSocket> m_readers;
  std::size_t m_readSize;
};

// Connections that have registered for so many keys each, of which no change is told, and that read nothing.
std::vector<RecordSocket> bystanders(const ServerProgram &server, std::size_t connections, std::size_t keys);
// One more, which would have to read what the readers of a circle read.
RecordSocket sleeper(const ServerProgram &server);

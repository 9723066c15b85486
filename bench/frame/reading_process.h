// What the references have in the notification server's place: a process that reads records and does nothing with them.
#pragma once

#include "frame/child_process.h"
#include "frame/record_socket.h"
#include "frame/socket_pair.h"

class ReadingProcess {
 public:
  // Reads what is sent by socket().
  ReadingProcess() : ReadingProcess(SocketPair()) {}
  // Reads what comes there.
  explicit ReadingProcess(RecordSocket source);

  const RecordSocket &socket() const { return m_socket; }

 private:
  explicit ReadingProcess(SocketPair ends);

  RecordSocket m_socket;
  ChildProcess m_reader;
};

// What the references have in the notification server's place: a process that reads records and does nothing with them.
#pragma once

#include "frame/child_process.h"
#include "frame/record_socket.h"

class ReadingProcess {
 public:
  ReadingProcess();

  const RecordSocket &socket() const { return m_socket; }

 private:
  struct Ends {
    UniqueFd ours;
    UniqueFd theirs;
  };
  static Ends makeEnds();
  explicit ReadingProcess(Ends ends);

  RecordSocket m_socket;
  ChildProcess m_reader;
};

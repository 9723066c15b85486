// What the references have in the notification server's place: a process that reads records and does nothing with them,
// and the socket by which they are sent there.
#pragma once

#include <string>

#include "event/message.h"
#include "frame/child_process.h"
#include "support/unique_fd.h"

class ReadingProcess {
 public:
  ReadingProcess();

  // A record of the size and content that the library sends.
  void announce(const std::string &db, const std::string &table, int action, unsigned long long rowId) const;

 private:
  struct Ends {
    UniqueFd ours;
    UniqueFd theirs;
  };
  static Ends makeEnds();
  explicit ReadingProcess(Ends ends);

  UniqueFd m_socket;
  ChildProcess m_reader;
};

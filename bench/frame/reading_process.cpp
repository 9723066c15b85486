#include "frame/reading_process.h"

#include <sys/socket.h>

#include <stdexcept>

ReadingProcess::Ends ReadingProcess::makeEnds() {
  int ends[2];
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) throw std::runtime_error("cannot make sockets");
  return {UniqueFd(ends[0]), UniqueFd(ends[1])};
}

ReadingProcess::ReadingProcess() : ReadingProcess(makeEnds()) {}

ReadingProcess::ReadingProcess(Ends ends)
    : m_socket(std::move(ends.ours)), m_reader({BENCH_RECORD_READER}, Role::kReader, ends.theirs.get()) {}

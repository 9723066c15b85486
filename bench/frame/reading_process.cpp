#include "frame/reading_process.h"

#include <sys/socket.h>
#include <unistd.h>

#include <stdexcept>

ReadingProcess::Ends ReadingProcess::makeEnds() {
  int ends[2];
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) throw std::runtime_error("cannot make sockets");
  return {UniqueFd(ends[0]), UniqueFd(ends[1])};
}

ReadingProcess::ReadingProcess() : ReadingProcess(makeEnds()) {}

ReadingProcess::ReadingProcess(Ends ends)
    : m_socket(std::move(ends.ours)), m_reader({BENCH_RECORD_READER}, Role::kReader, ends.theirs.get()) {}

void ReadingProcess::announce(const std::string &db, const std::string &table, int action,
                              unsigned long long rowId) const {
  _ORV_DB_MESSAGE record{};
  record.type = MSG_CHANGE;
  db.copy(record.db, kNameFieldSize - 1);
  table.copy(record.table, kNameFieldSize - 1);
  record.action = static_cast<std::uint8_t>(action);
  record.rowId = rowId;
  if (write(m_socket.get(), &record, kRecordSize) != static_cast<ssize_t>(kRecordSize)) {
    throw std::runtime_error("the reading process has gone");
  }
}

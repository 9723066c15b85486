#include "frame/record_socket.h"

#include <sys/socket.h>

#include <stdexcept>

#include "event/message.h"

void RecordSocket::announce(const std::string &db, const std::string &table, int action,
                            unsigned long long rowId) const {
  _ORV_DB_MESSAGE record{};
  record.type = MSG_CHANGE;
  db.copy(record.db, kNameFieldSize - 1);
  table.copy(record.table, kNameFieldSize - 1);
  record.action = static_cast<std::uint8_t>(action);
  record.rowId = rowId;
  if (write(m_socket.get(), &record, kRecordSize) != static_cast<ssize_t>(kRecordSize)) {
    throw std::runtime_error("nobody reads the records");
  }
}

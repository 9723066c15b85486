#include "frame/record_socket.h"

#include <sys/socket.h>
#include <sys/un.h>

#include <stdexcept>

namespace {

constexpr std::uint8_t kAnyAction = 7;

_ORV_DB_MESSAGE makeRecord(message_type type, const std::string &db, const std::string &table, std::uint8_t action) {
  _ORV_DB_MESSAGE record{};
  record.type = type;
  db.copy(record.db, kNameFieldSize - 1);
  table.copy(record.table, kNameFieldSize - 1);
  record.action = action;
  return record;
}

// Without a descriptor where nobody listens.
UniqueFd tryToConnect(const std::string &path) {
  UniqueFd made(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  path.copy(address.sun_path, sizeof address.sun_path - 1);
  if (connect(made.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0) made.reset();
  return made;
}

}  // namespace

RecordSocket RecordSocket::connect(const std::string &path) {
  UniqueFd made = tryToConnect(path);
  if (!made) throw std::runtime_error("nobody listens at " + path);
  return RecordSocket(std::move(made));
}

bool RecordSocket::answers(const std::string &path) { return static_cast<bool>(tryToConnect(path)); }

void RecordSocket::announce(const std::string &db, const std::string &table, int action,
                            unsigned long long rowId) const {
  _ORV_DB_MESSAGE record = makeRecord(MSG_CHANGE, db, table, static_cast<std::uint8_t>(action));
  record.rowId = rowId;
  send(record);
}

void RecordSocket::registerFor(const std::string &db, const std::string &table) const {
  send(makeRecord(MSG_REGISTER, db, table, kAnyAction));
  receive();
}

_ORV_DB_MESSAGE RecordSocket::receive() const {
  _ORV_DB_MESSAGE record;
  if (recv(m_socket.get(), &record, kRecordSize, MSG_WAITALL) != static_cast<ssize_t>(kRecordSize)) {
    throw std::runtime_error("nobody sends records any more");
  }
  return record;
}

void RecordSocket::send(const _ORV_DB_MESSAGE &record) const {
  if (write(m_socket.get(), &record, kRecordSize) != static_cast<ssize_t>(kRecordSize)) {
    throw std::runtime_error("nobody reads the records");
  }
}

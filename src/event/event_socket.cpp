// The socket: connecting, sending and receiving records, announcing a change.
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "event/db_event_mgr.h"

namespace {

void copyName(char (&field)[kNameFieldSize], const char *name) {
  std::strncpy(field, name, kNameFieldSize - 1);
  field[kNameFieldSize - 1] = '\0';
}

void fillHeader(_ORV_DB_MESSAGE &record, message_type type, const char *db, const char *table, int action) {
  record.type = type;
  record.status = kStatusPlain;
  record.reserved = 0;
  copyName(record.db, db);
  copyName(record.table, table);
  record.action = static_cast<std::uint8_t>(action);
}

}  // namespace

int db_event_mgr::getSocketFd() {
  const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (fd < 0) return -1;
  sockaddr_un server{};
  server.sun_family = AF_UNIX;
  static_assert(sizeof kServerSocketPath <= sizeof server.sun_path);
  std::memcpy(server.sun_path, kServerSocketPath, sizeof kServerSocketPath);
  if (connect(fd, reinterpret_cast<const sockaddr *>(&server), sizeof server) != 0) {
    close(fd);
    return -1;
  }
  return fd;
}

// A failure after some bytes gives their count.
int db_event_mgr::doSendMsg(int fd, const void *bytes, int length) {
  const auto *next = static_cast<const char *>(bytes);
  int left = length < 1 ? 0 : length;
  const int whole = left;
  while (left > 0 && m_running) {
    const ssize_t written = write(fd, next, static_cast<std::size_t>(left));
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) break;
    next += written;
    left -= static_cast<int>(written);
  }
  return whole - left;
}

// Unlike sending, a failure after some bytes gives -1.
int db_event_mgr::doRecvMsg(int fd, void *buffer, int length) {
  auto *next = static_cast<char *>(buffer);
  int left = length < 1 ? 0 : length;
  const int whole = left;
  while (left > 0 && m_running) {
    const ssize_t got = read(fd, next, static_cast<std::size_t>(left));
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return -1;
    if (got == 0) break;
    next += got;
    left -= static_cast<int>(got);
  }
  return whole - left;
}

// Threads send side by side: a record goes out in a single write, which a local stream socket keeps in one piece.
int db_event_mgr::sendMessage(const void *bytes, int length) {
  const read_guard sending(m_sockLock);
  const int fd = m_sockFd;
  return fd < 0 ? -1 : doSendMsg(fd, bytes, length);
}

int db_event_mgr::recvMessage(void *buffer, int length) {
  const read_guard receiving(m_sockLock);
  const int fd = m_sockFd;
  return fd < 0 ? -1 : doRecvMsg(fd, buffer, length);
}

bool db_event_mgr::sendRecord(const _ORV_DB_MESSAGE &record) {
  return sendMessage(&record, sizeof record) == sizeof record;
}

void db_event_mgr::prepareMsg(_ORV_DB_MESSAGE &record, message_type type, const char *db, const char *table, int action,
                              unsigned char flag) {
  fillHeader(record, type, db, table, action);
  record.flag = flag;
}

void db_event_mgr::prepareMsg(_ORV_DB_MESSAGE &record, message_type type, const char *db, const char *table, int action,
                              unsigned long long rowId) {
  fillHeader(record, type, db, table, action);
  record.rowId = rowId;
}

int db_event_mgr::notifyChange(const char *db, const char *table, _orv_db_action_t action, unsigned long long rowId) {
  if (db == nullptr || table == nullptr || !hasAction(action)) return ORV_DB_INVALID_ARGUMENT;
  if (m_needreinit) init();
  if (!isUp()) return ORV_DB_GONE;
  _ORV_DB_MESSAGE record{};
  prepareMsg(record, MSG_CHANGE, db, table, action, rowId);
  return sendRecord(record) ? ORV_DB_OK : ORV_DB_LOST;
}

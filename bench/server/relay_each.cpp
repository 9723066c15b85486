// Reads one record and writes it to every other reader at once.
#include "relay.h"

int main(int, char **argv) {
  runRelay(argv[1], [](int fd, std::set<int> &readers) {
    _ORV_DB_MESSAGE record;
    if (recv(fd, &record, kRecordSize, MSG_WAITALL) != static_cast<ssize_t>(kRecordSize)) return false;
    if (record.type == MSG_REGISTER) {
      answer(fd, record);
      readers.insert(fd);
    } else {
      for (const int other : readers) {
        if (other != fd) sendAll(other, reinterpret_cast<const char *>(&record), kRecordSize);
      }
    }
    return true;
  });
}

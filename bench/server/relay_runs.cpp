// Reads what is there, and writes the changes among it to every other reader in one run.
#include <array>
#include <string>

#include "relay.h"

namespace {

// A record that is not there in whole is waited for.
std::size_t receive(int fd, char *bytes, std::size_t size) {
  const ssize_t count = recv(fd, bytes, size, 0);
  if (count <= 0) return 0;
  const std::size_t part = static_cast<std::size_t>(count) % kRecordSize;
  const std::size_t missing = part != 0 ? kRecordSize - part : 0;
  if (missing != 0 && recv(fd, bytes + count, missing, MSG_WAITALL) != static_cast<ssize_t>(missing)) return 0;
  return static_cast<std::size_t>(count) + missing;
}

}  // namespace

int main(int, char **argv) {
  runRelay(argv[1], [](int fd, std::set<int> &readers) {
    static std::array<char, 2048 * kRecordSize> buffer;
    const std::size_t size = receive(fd, buffer.data(), buffer.size() - kRecordSize);
    std::string changes;
    for (std::size_t at = 0; at < size; at += kRecordSize) {
      const auto &record = reinterpret_cast<const _ORV_DB_MESSAGE &>(buffer[at]);
      if (record.type == MSG_REGISTER) {
        answer(fd, record);
        readers.insert(fd);
      } else {
        changes.append(&buffer[at], kRecordSize);
      }
    }
    for (const int other : readers) {
      if (other != fd) sendAll(other, changes.data(), changes.size());
    }
    return size != 0;
  });
}

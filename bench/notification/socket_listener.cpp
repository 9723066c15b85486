// socket_listener [PATH COUNT]
//
// Listens without the library: by COUNT connections to the server at PATH, or by its standard input, which is a socket
// to the program that measures. A change has arrived when it has by all of them.
#include <exception>
#include <string>
#include <vector>

#include "frame/record_socket.h"
#include "listener.h"

namespace {

std::vector<RecordSocket> connectAll(const std::string &path, std::size_t count) {
  std::vector<RecordSocket> sockets;
  for (std::size_t i = 0; i < count; ++i) {
    sockets.push_back(RecordSocket::connect(path));
    sockets.back().registerFor(kDb, kTable);
  }
  return sockets;
}

std::vector<RecordSocket> socketsOf(int argc, char **argv) {
  if (argc == 3) return connectAll(argv[1], std::stoul(argv[2]));
  std::vector<RecordSocket> sockets;
  sockets.emplace_back(UniqueFd(STDIN_FILENO));
  return sockets;
}

}  // namespace

int main(int argc, char **argv) try {
  const std::vector<RecordSocket> sockets = socketsOf(argc, argv);
  for (bool isHeard = reportReady(); isHeard;) {
    Nanoseconds sent = 0;
    for (const RecordSocket &socket : sockets)
      sent = socket.receive().rowId;
    isHeard = report(now() - sent);
  }
  return 0;
} catch (const std::exception &) {
  return 1;  // nobody sends any more
}

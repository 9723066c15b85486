// A client of the notification server, on the bare socket.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "support/notification_peer.h"
#include "support/unique_fd.h"

class ServerClient {
 public:
  // Throws when nobody answers at `path`.
  explicit ServerClient(const std::string &path);

  // Sends a registration and takes the server's answer to it.
  void registerFor(const std::string &db, const std::string &table, std::uint8_t actions);

  void send(const RecordBytes &record) { sendBytes(record.data(), record.size()); }
  // In one write.
  void send(const std::vector<RecordBytes> &records);
  void sendBytes(const void *bytes, std::size_t length);
  // The next record. Throws when none comes in time, or the connection ends.
  RecordBytes receive();
  // All records up to `last`, which is among them.
  std::vector<RecordBytes> receiveUpTo(const RecordBytes &last);
  // Reads to the end of the connection. Throws when it does not come in time.
  void waitForEnd() { receiveAll(); }
  std::string receiveAll();
  void close() { socket_.reset(); }

  // Up to `length` bytes, as soon as there are any; 0 at the end of the connection.
  std::size_t receiveSome(unsigned char *bytes, std::size_t length);

 private:
  UniqueFd socket_;
};

#include "server/server_client.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <array>
#include <cerrno>
#include <stdexcept>
#include <system_error>

#include "support/wait.h"

namespace {

[[noreturn]] void failWithErrno(const char *what) { throw std::system_error(errno, std::generic_category(), what); }

}  // namespace

ServerClient::ServerClient(const std::string &path) : socket_(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  path.copy(address.sun_path, sizeof(address.sun_path) - 1);
  if (connect(socket_.get(), reinterpret_cast<const sockaddr *>(&address), sizeof(address)) != 0) {
    failWithErrno("connect");
  }
}

void ServerClient::registerFor(const std::string &db, const std::string &table, std::uint8_t actions) {
  const RecordBytes registration = registerRecord(db, table, actions, 0);
  send(registration);
  EXPECT_EQ(receive(), acceptance(registration));
}

void ServerClient::sendBytes(const void *bytes, std::size_t length) {
  if (::send(socket_.get(), bytes, length, MSG_NOSIGNAL) != static_cast<ssize_t>(length)) failWithErrno("send");
}

void ServerClient::send(const std::vector<RecordBytes> &records) {
  const Bytes bytes = concatenated(records);
  sendBytes(bytes.data(), bytes.size());
}

RecordBytes ServerClient::receive() {
  RecordBytes record{};
  for (std::size_t begin = 0; begin < record.size();) {
    const std::size_t count = receiveSome(record.data() + begin, record.size() - begin);
    if (count == 0) throw std::runtime_error("the connection has ended");
    begin += count;
  }
  return record;
}

std::vector<RecordBytes> ServerClient::receiveUpTo(const RecordBytes &last) {
  std::vector<RecordBytes> records;
  do {
    records.push_back(receive());
  } while (records.back() != last);
  return records;
}

std::string ServerClient::receiveAll() {
  std::string text;
  std::array<unsigned char, 65536> piece;
  for (std::size_t count; (count = receiveSome(piece.data(), piece.size())) != 0;)
    text.append(piece.begin(), piece.begin() + static_cast<std::ptrdiff_t>(count));
  return text;
}

std::size_t ServerClient::receiveSome(unsigned char *bytes, std::size_t length) {
  pollfd readable{socket_.get(), POLLIN, 0};
  const auto patience = std::chrono::duration_cast<std::chrono::milliseconds>(kPatience);
  if (poll(&readable, 1, static_cast<int>(patience.count())) != 1) throw std::runtime_error("nothing to receive");
  const ssize_t count = recv(socket_.get(), bytes, length, 0);
  if (count < 0 && errno != ECONNRESET) failWithErrno("recv");
  return count < 0 ? 0 : static_cast<std::size_t>(count);
}

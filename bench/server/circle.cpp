#include "circle.h"

#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <stdexcept>
#include <string>

namespace {

using Clock = std::chrono::steady_clock;

constexpr char kDb[] = "bench";
constexpr char kTable[] = "t";
constexpr int kInserted = 1;

double secondsSince(Clock::time_point begin) { return std::chrono::duration<double>(Clock::now() - begin).count(); }

void readAll(const RecordSocket &reader, std::size_t readSize) {
  std::array<char, Circle::kAll> buffer;
  for (std::size_t left = buffer.size(); left > 0;) {
    const ssize_t count = recv(reader.descriptor(), buffer.data(), std::min(left, readSize), 0);
    if (count <= 0) throw std::runtime_error("the server is gone");
    left -= static_cast<std::size_t>(count);
  }
}

}  // namespace

Circle::Circle(const ServerProgram &server, std::size_t readers, std::size_t readSize)
    : m_writer(server.connect()), m_readSize(readSize) {
  for (std::size_t i = 0; i < readers; ++i)
    m_readers.push_back(sleeper(server));
}

void Circle::pass() const {
  for (std::size_t i = 1; i <= kChanges; ++i)
    m_writer.announce(kDb, kTable, kInserted, i);
  for (const RecordSocket &reader : m_readers)
    readAll(reader, m_readSize);
}

// What comes without a row id is a reminder of the server's.
std::vector<double> Circle::latencies(double seconds) const {
  std::vector<double> all;
  for (const auto begin = Clock::now(); all.empty() || secondsSince(begin) < seconds;) {
    const auto written = Clock::now();
    m_writer.announce(kDb, kTable, kInserted, 1);
    while (m_readers.front().receive().rowId == 0) {
    }
    all.push_back(secondsSince(written));
  }
  std::sort(all.begin(), all.end());
  return all;
}

std::vector<RecordSocket> bystanders(const ServerProgram &server, std::size_t connections, std::size_t keys) {
  std::vector<RecordSocket> sockets;
  for (std::size_t i = 0; i < connections; ++i) {
    sockets.push_back(server.connect());
    for (std::size_t key = 0; key < keys; ++key)
      sockets.back().registerFor(kDb, "k" + std::to_string(i) + "_" + std::to_string(key));
  }
  return sockets;
}

RecordSocket sleeper(const ServerProgram &server) {
  RecordSocket socket = server.connect();
  socket.registerFor(kDb, kTable);
  return socket;
}

// The clients that load a server: writers, and readers that one thread reads.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <string>
#include <thread>
#include <vector>

#include "event/message.h"

using Clock = std::chrono::steady_clock;

inline std::uint64_t nowNs() { return static_cast<std::uint64_t>(Clock::now().time_since_epoch().count()); }

class Client {
 public:
  explicit Client(const std::string &socketPath);
  Client(Client &&other) noexcept;
  Client &operator=(Client &&) = delete;
  ~Client();

  static bool answers(const std::string &socketPath);

  int descriptor() const { return m_socket; }

  // Returns when the server has answered.
  void registerKey(const std::string &table);
  // As many as the keys "<prefix>0" to "<prefix>count-1".
  void registerKeys(const std::string &prefix, std::size_t count);
  void announce(const std::string &table, std::uint64_t rowId);
  _ORV_DB_MESSAGE receive();
  std::string readAll();

 private:
  void send(const std::vector<_ORV_DB_MESSAGE> &records);

  int m_socket;
};

// Readers of the table "t". Their thread counts what they get; the row id of a change is the time when it was written.
class Readers {
 public:
  // Each of them reads so many bytes at a time.
  Readers(const std::string &socketPath, std::size_t count, std::size_t readSize = kReadSize);
  Readers(const Readers &) = delete;
  Readers &operator=(const Readers &) = delete;
  ~Readers();

  std::size_t size() const { return m_clients.size(); }
  std::uint64_t delivered() const { return m_delivered; }

  static constexpr std::size_t kReadSize = 256UL * 1024;

 private:
  void read(std::size_t readSize);

  std::vector<Client> m_clients;
  std::atomic<std::uint64_t> m_delivered{0};
  std::atomic<bool> m_isDone{false};
  std::thread m_thread;
};

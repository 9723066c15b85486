// A hub with clients on real sockets, driven step by step: who writes, reads or goes when, how much the sockets take,
// and in which order ready connections are served. The model looks at all that clients write and read.
#pragma once

#include <deque>
#include <functional>
#include <string>
#include <vector>

#include "forwarding/hub.h"
#include "server/model/model.h"

class World {
 public:
  struct Setup {
    Limits limits;
    Model::Leniency leniency;
    ResyncMode resync = ResyncMode::kNever;
    int socketBytes = 0;  // that the sockets to clients hold; 0: the usual
  };
  // Gives a number below its argument, which is at least 1.
  using Choice = std::function<std::size_t(std::size_t)>;

  explicit World(const Setup &setup);

  using Client = Model::Client;
  // Connected, and not accepted yet.
  Client connect();
  std::size_t count() const { return m_clients.size(); }
  bool isOpen(Client client) const { return m_model.isOpen(client); }

  // To be written by and by.
  void registerFor(Client client, const std::string &table, std::uint8_t actions, std::uint8_t flag);
  void cancel(Client client, const std::string &table, std::uint8_t actions);
  void announce(Client client, const std::string &table, std::uint8_t action);
  // Any bytes. Whole changes among them get row ids of their own.
  void put(Client client, std::string bytes);

  // Writes as many bytes of that as the socket takes.
  void write(Client client, std::size_t most);
  void read(Client client, std::size_t most);
  void close(Client client);

  // One pass. `meanwhile` is called between any two descriptors.
  void turn(
      const Choice &choose, const std::function<void()> &meanwhile = [] {});
  void tick(std::chrono::milliseconds passed);
  // Until everything has been written, forwarded and read; then nothing may be missing.
  void settle();

  const Hub &hub() const { return m_hub; }

 private:
  struct Side {
    Descriptor socket;
    std::string unwritten;
    std::size_t written = 0;  // bytes, ever
  };

  void put(Client client, const _ORV_DB_MESSAGE &record) { put(client, bytesOf(record)); }
  void acceptWaiting();
  void checkMemory() const;
  bool isQuiet() const;

  const Setup m_setup;
  Model m_model;
  EventPoll m_poll;
  const Descriptor m_listening;  // ready when somebody waits
  Clock::time_point m_now;
  Hub m_hub;
  std::vector<Side> m_clients;
  std::deque<Descriptor> m_waiting;  // the server's ends of connections that are not accepted yet
  std::uint64_t m_lastRow = 0;
  std::uint64_t m_moves = 0;  // bytes written and read, to see that something happens
};

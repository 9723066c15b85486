// A plain model of who has to hear what: it is told what clients wrote and read, in the order in which they did so, and
// throws BrokenPromise when a client reads what it must not, or when something is missing in the end.
#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "server/model/wire.h"

class Model {
 public:
  // What the limits of the server under test allow.
  struct Leniency {
    bool mayCollapse = false;  // tell of whole tables in place of changes
    bool mayGiveAll = false;   // give a client what it did not register for
    bool mayCut = false;       // end connections that do not read
  };
  explicit Model(Leniency leniency) : m_leniency(leniency) {}

  using Client = std::size_t;
  Client add();

  // A change must carry a row id of its own, larger than those that its sender wrote before.
  void wrote(Client client, std::string_view bytes);
  void read(Client client, std::string_view bytes);
  void closed(Client client);
  // By the server.
  void wasCut(Client client);

  // All that there is has been read.
  void checkNothingIsMissing() const;

  bool isOpen(Client client) const { return m_clients[client].isOpen; }

 private:
  struct Change {
    Client sender;
    std::string bytes;
  };

  // What a client wants of one key: a registry as clients keep it.
  struct Wish {
    struct Entry {
      std::uint8_t mask;
      std::uint8_t flag;
    };
    std::vector<Entry> entries;
    std::uint64_t since[8] = {};  // when each action was wanted that had not been; 0: it is not
    std::uint8_t ever = 0;

    void registerFor(std::uint8_t mask, std::uint8_t flag, std::uint64_t now);
    void cancel(std::uint8_t mask);
    std::uint8_t wanted() const;
    std::uint8_t wantedBefore(std::uint64_t moment) const;
    void note(std::uint64_t now);
  };

  struct Owed {
    std::string key;
    std::uint8_t actions;
    Client sender;
  };

  struct State {
    bool isOpen = true;
    bool isOutOfStep = false;
    std::string written;              // the beginning of a record
    std::uint64_t beginOfRecord = 0;  // when its first byte was written
    std::string unread;               // likewise
    std::map<std::string, Wish> wishes;
    std::deque<std::string> replies;       // that have to come
    std::map<std::uint64_t, Owed> owed;    // by row id
    std::map<Client, std::uint64_t> last;  // row id heard of each sender
  };

  void handle(Client client, const _ORV_DB_MESSAGE &record);
  void owe(Client sender, const _ORV_DB_MESSAGE &record);
  void hear(Client client, const _ORV_DB_MESSAGE &record);
  void hearChange(Client client, const _ORV_DB_MESSAGE &record);
  void hearOfWholeTable(State &state, const _ORV_DB_MESSAGE &record);
  static void forgive(State &state, const std::string &key);

  const Leniency m_leniency;
  std::uint64_t m_now = 0;
  std::vector<State> m_clients;
  std::map<std::uint64_t, Change> m_changes;  // by row id
};

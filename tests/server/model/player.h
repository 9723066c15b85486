// Plays with a world: each move is chosen by a source of numbers, random ones or those of a fuzzer.
#pragma once

#include <array>
#include <ostream>
#include <vector>

#include "server/model/world.h"

// Limits from roomy to tight, with what they allow the hub to do.
struct NamedSetup {
  const char *name;
  World::Setup setup;
};
inline std::ostream &operator<<(std::ostream &out, const NamedSetup &setup) { return out << setup.name; }
const std::vector<NamedSetup> &setups();

class Player {
 public:
  Player(World &world, World::Choice choose) : m_world(world), m_choose(std::move(choose)) {}

  void move();

 private:
  using Client = World::Client;
  struct Kind {
    std::size_t share;
    void (Player::*play)(Client client);
  };
  static const std::array<Kind, 11> kKinds;

  void moveOfClient();
  void turn();

  void connect(Client client);
  void registerFor(Client client);
  void cancel(Client client);
  void announce(Client client);
  void announceMuch(Client client);
  void write(Client client);
  void writePiece(Client client);
  void read(Client client);
  void readPiece(Client client);
  void close(Client client);
  void tick(Client client);

  bool hasOneIn(std::size_t count) { return m_choose(count) == 1; }
  std::string table();
  std::uint8_t actions();

  World &m_world;
  const World::Choice m_choose;
};

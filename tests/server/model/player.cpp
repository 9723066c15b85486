#include "server/model/player.h"

namespace {

constexpr std::size_t kMostClients = 12;
constexpr int kSmallSocket = 1;  // the system makes of it the least that it allows, some six records

Limits limits(std::size_t queueRecords, std::size_t totalRecords, std::size_t keysOfConnection, std::size_t keys) {
  return {queueRecords * kRecordSize, totalRecords * kRecordSize, keysOfConnection, keys};
}

}  // namespace

const std::vector<NamedSetup> &setups() {
  constexpr ResyncMode kNever = ResyncMode::kNever;
  static const std::vector<NamedSetup> all{
      {"Exact", {Limits{}, {}, kNever, 0}},
      {"ExactInSmallSockets", {Limits{}, {}, kNever, kSmallSocket}},
      {"ShortQueues", {limits(8, 1000, 100, 100), {true, false, false}, kNever, kSmallSocket}},
      {"ShortTotal", {limits(1000, 12, 100, 100), {true, false, false}, kNever, kSmallSocket}},
      {"FewKeys", {limits(1000, 5000, 1, 100), {false, true, false}, kNever, 0}},
      {"FewKeysInAll", {limits(8, 40, 100, 4), {true, true, true}, kNever, kSmallSocket}},
      {"Resync", {Limits{}, {true, false, false}, ResyncMode::kAlways, 0}},
      {"ResyncInShortQueues", {limits(4, 20, 2, 100), {true, true, true}, ResyncMode::kAlways, kSmallSocket}},
  };
  return all;
}

// Shares of 64.
const std::array<Player::Kind, 11> Player::kKinds{{
    {4, &Player::connect},
    {9, &Player::registerFor},
    {6, &Player::cancel},
    {12, &Player::announce},
    {1, &Player::announceMuch},
    {12, &Player::write},
    {6, &Player::writePiece},
    {6, &Player::read},
    {4, &Player::readPiece},
    {2, &Player::close},
    {2, &Player::tick},
}};

void Player::move() {
  if (hasOneIn(4)) {
    turn();
  } else {
    moveOfClient();
  }
}

void Player::turn() {
  m_world.turn(m_choose, [this] {
    while (hasOneIn(2))
      moveOfClient();
  });
}

void Player::moveOfClient() {
  if (m_world.count() < 2) return connect(0);
  std::size_t chosen = m_choose(64);
  const Kind *kind = kKinds.data();
  for (; chosen >= kind->share; ++kind)
    chosen -= kind->share;
  const Client client = m_choose(m_world.count());
  if (m_world.isOpen(client) || kind->play == &Player::connect) (this->*kind->play)(client);
}

std::string Player::table() { return std::string("t") + static_cast<char>('0' + m_choose(3)); }

// Mostly of the three that have a meaning.
std::uint8_t Player::actions() {
  const std::size_t upper = hasOneIn(8) ? m_choose(32) * 8 : 0;
  return static_cast<std::uint8_t>(m_choose(8) + upper);
}

void Player::connect(Client) {
  std::size_t open = 0;
  for (Client client = 0; client < m_world.count(); ++client)
    open += m_world.isOpen(client) ? 1 : 0;
  if (open < kMostClients) m_world.connect();
}

void Player::registerFor(Client client) {
  const std::string name = table();
  const std::uint8_t mask = actions();
  m_world.registerFor(client, name, mask, static_cast<std::uint8_t>(m_choose(2)));
  if (hasOneIn(2)) write(client);
}

void Player::cancel(Client client) {
  const std::string name = table();
  m_world.cancel(client, name, actions());
}

void Player::announce(Client client) {
  const std::string name = table();
  m_world.announce(client, name, actions());
  if (hasOneIn(2)) write(client);
}

void Player::announceMuch(Client client) {
  const std::string name = table();
  const std::uint8_t action = actions();
  for (int i = 0; i < 20; ++i)
    m_world.announce(client, name, action);
}

void Player::write(Client client) { m_world.write(client, std::string::npos); }
void Player::writePiece(Client client) { m_world.write(client, m_choose(2 * kRecordSize)); }
void Player::read(Client client) { m_world.read(client, std::string::npos); }
void Player::readPiece(Client client) { m_world.read(client, m_choose(2 * kRecordSize)); }
void Player::close(Client client) { m_world.close(client); }
void Player::tick(Client) { m_world.tick(std::chrono::milliseconds{500}); }

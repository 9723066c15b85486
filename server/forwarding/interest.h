// What one connection wants of one key.
//
// A client's own registry moves and drops bits of its registrations without telling the server. What the server keeps
// of a connection has to cover the client's view at any time: a superfluous record is ignored by the client, a missing
// one is a change that goes unnoticed.
#pragma once

#include <cstddef>
#include <cstdint>
#include <list>
#include <string>

class Connection;
struct Route;

class Interest {
 public:
  Interest(Connection &reader, Route &route) : m_reader(reader), m_route(route) {}

  Connection &reader() const { return m_reader; }
  Route &route() const { return m_route; }
  std::uint8_t actions() const { return m_actions; }
  bool isEmpty() const { return m_masks.empty(); }
  // Registrations that the client repeats when it connects again, as far as they are known.
  std::size_t registrationCount() const { return m_isFolded ? kMostMasks : m_masks.size(); }

  // Every registered mask is kept for itself; from the 65th on they are one mask that no cancellation reduces.
  void add(std::uint8_t mask);

  // A client drops some of these bits, at least one, from one entry of its registry. Which ones is known only if it can
  // be but one bit, which is then taken from the first mask that has it, or if the client registered no more than once.
  // A mask that does not shrink is harmless.
  void cancel(std::uint8_t bits);

  // Kept by the connection's InterestList.
  std::list<Interest>::iterator place;

  // Kept by the connection's Outbox: actions that are still to be told with row id 0, and while there are any, where it
  // stands among those that wait for it.
  std::uint8_t untold = 0;
  std::list<Interest *>::iterator untoldPlace;

 private:
  static constexpr std::size_t kMostMasks = 64;

  void takeFromFirst(std::uint8_t bits);
  bool isAmbiguous(std::uint8_t bits) const;
  void sum();

  Connection &m_reader;
  Route &m_route;
  std::string m_masks;  // one byte each, in the order of registration; mostly few, which take no memory of their own
  std::uint8_t m_actions = 0;
  bool m_isOnlyOne = true;  // never more than one mask was registered
  bool m_isFolded = false;
};

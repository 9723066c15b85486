// The interests of one connection, in an order that a sweep over all of them can follow piece by piece while interests
// come and go.
#pragma once

#include <algorithm>
#include <list>

#include "forwarding/interest.h"

class InterestList {
 public:
  std::size_t size() const { return m_interests.size(); }
  bool isEmpty() const { return m_interests.empty(); }
  Interest &back() { return m_interests.back(); }

  // A new one is the last that a sweep would come to, so that it takes no other's turn.
  Interest &add(Connection &reader, Route &route) {
    const auto place = m_interests.emplace(m_next, reader, route);
    place->place = place;
    return *place;
  }

  void remove(Interest &interest) {
    if (m_next == interest.place) ++m_next;
    m_interests.erase(interest.place);
    m_unswept = std::min(m_unswept, m_interests.size());
  }

  // A sweep that is under way starts again where it stands, so that none is put off for ever.
  void beginSweep() { m_unswept = m_interests.size(); }
  bool isSwept() const { return m_unswept == 0; }
  Interest &sweepNext() {
    if (m_next == m_interests.end()) m_next = m_interests.begin();
    --m_unswept;
    return *m_next++;
  }

 private:
  std::list<Interest> m_interests;
  std::list<Interest>::iterator m_next = m_interests.end();  // of the sweep; the end stands for the beginning
  std::size_t m_unswept = 0;
};

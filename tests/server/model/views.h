// How a server may see what a connection wants: as this server does, and as others might that lose something.
#pragma once

#include <algorithm>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "forwarding/connection.h"
#include "forwarding/record.h"
#include "forwarding/routes.h"

class View {
 public:
  virtual ~View() = default;
  virtual void add(std::string_view key, std::uint8_t mask) = 0;
  virtual void cancel(std::string_view key, std::uint8_t bits) = 0;
  virtual int actions(std::string_view key) const = 0;

  void take(const _ORV_DB_MESSAGE &record) {
    const RecordKey key(record);
    record.type == MSG_REGISTER ? add(key.text(), record.action) : cancel(key.text(), record.action);
  }
};

class ServersView : public View {
 public:
  ~ServersView() override {
    while (!m_reader.interests().isEmpty())
      m_routes.remove(m_reader.interests().back());
  }
  void add(std::string_view key, std::uint8_t mask) override { m_routes.add(m_reader, key, mask); }
  void cancel(std::string_view key, std::uint8_t bits) override { m_routes.cancel(m_reader, key, bits); }
  int actions(std::string_view key) const override {
    const Interest *interest = m_routes.find(m_reader, key);
    return interest != nullptr ? interest->actions() : 0;
  }

 private:
  Routes m_routes{SipKey{}};
  Connection m_reader{1, Descriptor{}, Peer{}};
};

class ListView : public View {
 public:
  int actions(std::string_view key) const override {
    const auto found = m_masks.find(std::string(key));
    int sum = 0;
    if (found == m_masks.end()) return 0;
    for (const std::uint8_t mask : found->second)
      sum |= mask;
    return sum;
  }

 protected:
  using Masks = std::vector<std::uint8_t>;
  Masks &masks(std::string_view key) { return m_masks[std::string(key)]; }

  static void takeFromFirst(Masks &masks, std::uint8_t bits) {
    const auto first =
        std::find_if(masks.begin(), masks.end(), [bits](std::uint8_t mask) { return (mask & bits) != 0; });
    if (first == masks.end()) return;
    *first = static_cast<std::uint8_t>(*first & ~bits);
    if (*first == 0) masks.erase(first);
  }

 private:
  std::map<std::string, Masks> m_masks;
};

// Does what a client does when its callbacks are all different.
class MirrorView : public ListView {
 public:
  void add(std::string_view key, std::uint8_t mask) override {
    takeFromFirst(masks(key), mask);
    masks(key).push_back(mask);
  }
  void cancel(std::string_view key, std::uint8_t bits) override { takeFromFirst(masks(key), bits); }
};

// Appends, and takes all bits of a cancellation from the first mask that shares one.
class FirstMaskView : public ListView {
 public:
  void add(std::string_view key, std::uint8_t mask) override { masks(key).push_back(mask); }
  void cancel(std::string_view key, std::uint8_t bits) override { takeFromFirst(masks(key), bits); }
};

// Appends, and takes several bits only where there is a single mask and all of it is cancelled.
class SingleMaskView : public ListView {
 public:
  void add(std::string_view key, std::uint8_t mask) override { masks(key).push_back(mask); }
  void cancel(std::string_view key, std::uint8_t bits) override {
    Masks &own = masks(key);
    const bool isSingleBit = (bits & (bits - 1)) == 0;
    if (isSingleBit || (own.size() == 1 && (own.front() & ~bits) == 0)) takeFromFirst(own, bits);
  }
};

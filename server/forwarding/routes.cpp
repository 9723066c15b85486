#include "forwarding/routes.h"

#include <algorithm>

#include "forwarding/connection.h"

namespace {

auto placeOf(std::vector<Route::Reader> &readers, ConnectionId id) {
  return std::lower_bound(readers.begin(), readers.end(), id,
                          [](const Route::Reader &reader, ConnectionId wanted) { return reader.id < wanted; });
}

}  // namespace

Interest &Routes::add(Connection &reader, std::string_view key, std::uint8_t mask) {
  Route &route = routeOf(key);
  auto place = placeOf(route.readers, reader.id());
  if (place == route.readers.end() || place->id != reader.id()) {
    Interest &added = reader.interests().add(reader, route);
    place = route.readers.insert(place, {reader.id(), &added});
    ++m_interestCount;
  }
  countChange(*place->interest, [mask](Interest &interest) { interest.add(mask); });
  return *place->interest;
}

// Keeps the number of registrations that the connection holds.
template <class Change>
void Routes::countChange(Interest &interest, Change change) {
  std::size_t &held = interest.reader().heldRegistrations;
  held -= interest.registrationCount();
  change(interest);
  held += interest.registrationCount();
}

Route &Routes::routeOf(std::string_view key) {
  if (const auto found = m_routes.find(key); found != m_routes.end()) return *found->second;
  auto route = std::make_unique<Route>();
  route->key = key;
  const std::string_view ownKey = route->key;
  return *m_routes.emplace(ownKey, std::move(route)).first->second;
}

void Routes::cancel(const Connection &reader, std::string_view key, std::uint8_t bits) {
  Interest *interest = find(reader, key);
  if (interest == nullptr) return;
  countChange(*interest, [bits](Interest &cancelled) { cancelled.cancel(bits); });
  if (interest->isEmpty()) remove(*interest);
}

void Routes::remove(Interest &interest) {
  Connection &reader = interest.reader();
  Route &route = interest.route();
  route.readers.erase(placeOf(route.readers, reader.id()));
  if (route.readers.capacity() / 4 > route.readers.size()) route.readers.shrink_to_fit();
  --m_interestCount;
  reader.heldRegistrations -= interest.registrationCount();
  reader.outbox().forget(interest);
  reader.interests().remove(interest);
  if (route.readers.empty()) m_routes.erase(std::string_view(route.key));
}

const Route *Routes::find(std::string_view key) const {
  const auto found = m_routes.find(key);
  return found != m_routes.end() ? found->second.get() : nullptr;
}

Interest *Routes::find(const Connection &reader, std::string_view key) const {
  const auto found = m_routes.find(key);
  if (found == m_routes.end()) return nullptr;
  std::vector<Route::Reader> &readers = found->second->readers;
  const auto place = placeOf(readers, reader.id());
  return place != readers.end() && place->id == reader.id() ? place->interest : nullptr;
}

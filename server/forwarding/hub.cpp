#include "forwarding/hub.h"

#include <sys/random.h>
#include <sys/socket.h>

#include <algorithm>

#include "system/failure.h"

namespace {

constexpr std::size_t kLeastAcksAllowed = 1000;
constexpr std::uint8_t kKnownActions = 7;
constexpr int kDroppedPerTurn = 2000;  // so that a turn of the loop stays short

SipKey randomSeed() {
  SipKey seed{};
  if (getrandom(&seed, sizeof seed, 0) != sizeof seed) failWithErrno("random numbers");
  return seed;
}

bool isGood(const _ORV_DB_MESSAGE &record) {
  return record.type <= MSG_CHANGE && record.status == kStatusPlain && (record.action & kKnownActions) != 0;
}

}  // namespace

Hub::Hub(const Limits &limits, Resync resync, EventPoll &poll, Log &log)
    : m_limits(limits), m_resync(std::move(resync)), m_poll(poll), m_log(log), m_routes(randomSeed()) {}

// --- clients come and are read ---------------------------------------------------------------------------------------

void Hub::welcome(Descriptor socket, Peer peer) {
  const ConnectionId id = m_nextId++;
  if (!m_poll.add(socket.get(), id)) {
    m_log.write(Log::kError, "watch", std::string("can't watch a connection: ") + std::strerror(errno));
    return refuse(std::move(socket), peer, Hearing::kHeard);
  }
  ++m_connectionsOfUid[peer.uid];
  auto made = std::make_unique<Connection>(id, std::move(socket), std::move(peer));
  Connection &connection = *m_connections.emplace(id, std::move(made)).first->second;
  connection.isOld = m_resync.isOld(connection.peer());
  if (connection.isOld) m_resync.request();
  receive(connection);
}

void Hub::refuse(Descriptor socket, const Peer &peer, Hearing hearing) {
  ++m_counters.refused;
  if (hearing == Hearing::kIgnored) return;
  m_resync.noteCut(peer);
  Connection connection(m_nextId++, std::move(socket), peer);
  hearOut(connection);
}

// What has been written before the end counts; to write any more fails over there.
void Hub::hearOut(Connection &connection) {
  const bool hasEnd = shutdown(connection.descriptor(), SHUT_RD) == 0;
  m_records.clear();
  while (connection.receive(m_records) && hasEnd)
    continue;
  m_counters.recordsIn += m_records.size();
  for (const _ORV_DB_MESSAGE &record : m_records) {
    const bool isUsable = isGood(record);
    if (!isUsable) ++m_counters.bad;
    if (record.type > MSG_CHANGE) return;
    if (isUsable && record.type == MSG_CHANGE) takeChange(connection.id(), record);
  }
}

std::size_t Hub::connectionsOf(uid_t uid) const {
  const auto found = m_connectionsOfUid.find(uid);
  return found != m_connectionsOfUid.end() ? found->second : 0;
}

void Hub::serve(ConnectionId id, std::uint32_t events) {
  Connection &connection = *m_connections.at(id);
  if ((events & EPOLLOUT) != 0) addTouched(connection);
  if ((events & ~static_cast<std::uint32_t>(EPOLLOUT)) != 0) receive(connection);
}

void Hub::receive(Connection &connection) {
  if (connection.isEnded) return;
  m_records.clear();
  const bool isOpen = connection.receive(m_records);
  m_counters.recordsIn += m_records.size();
  for (const _ORV_DB_MESSAGE &record : m_records) {
    if (handle(connection, record)) continue;
    connection.isOutOfStep = true;
    return cut(connection, "sent something that is no record");
  }
  if (!isOpen) end(connection);
}

// --- records ---------------------------------------------------------------------------------------------------------

// False when the stream is out of step.
bool Hub::handle(Connection &sender, const _ORV_DB_MESSAGE &record) {
  const bool isUsable = isGood(record);
  if (!isUsable) ++m_counters.bad;
  switch (record.type) {
    case MSG_REGISTER:
      if (isUsable) {
        registerKey(sender, record);
      } else {
        acknowledge(sender, record, kStatusPlain);
      }
      return true;
    case MSG_CANCEL:
      if (isUsable) m_routes.cancel(sender, RecordKey(record).text(), record.action);
      return true;
    case MSG_CHANGE:
      if (isUsable) takeChange(sender.id(), record);
      return true;
    default:
      return false;
  }
}

void Hub::registerKey(Connection &reader, const _ORV_DB_MESSAGE &record) {
  const RecordKey key(record);
  const bool isFull = reader.interests().size() >= m_limits.keysOfConnection || registeredKeys() >= m_limits.keys;
  if (isFull && m_routes.find(reader, key.text()) == nullptr) {
    giveEverything(reader);
    if (reader.isOld) tellNow(reader, key.text(), record.action);
  } else {
    Interest &interest = m_routes.add(reader, key.text(), record.action);
    if (reader.isOld) tell(interest, record.action);
  }
  acknowledge(reader, record, kStatusAccepted);
}

void Hub::giveEverything(Connection &reader) {
  reader.wantsEverything = true;
  if (m_wantEverything.insert(reader.id()).second) ++m_counters.overKeys;
  m_log.write(Log::kWarning, "keys",
              describe(reader.peer()) + " registers more keys than it may, and gets every change from now on");
}

// There is nowhere to keep what has still to be told of a key that is not kept.
void Hub::tellNow(Connection &reader, std::string_view key, std::uint8_t actions) {
  makeWholeTableRecords(key, actions, [&](const _ORV_DB_MESSAGE &record) { deliver(reader, nullptr, record); });
}

void Hub::acknowledge(Connection &reader, _ORV_DB_MESSAGE record, std::uint8_t status) {
  record.status = status;
  reader.outbox().acknowledge(record);
  touch(reader);
  // A client that repeats its registrations reads no reply before it has sent them all.
  if (reader.outbox().ackCount() > std::max(kLeastAcksAllowed, reader.heldRegistrations)) {
    cut(reader, "does not read the replies to its registrations");
  }
}

void Hub::takeChange(ConnectionId sender, const _ORV_DB_MESSAGE &record) {
  const bool hasShare = m_transit.bytes() < m_limits.totalQueueBytes / 2;
  if (hasShare && !hasRoom()) makeRoom();
  if (hasShare && hasRoom()) {
    m_transit.add(sender, record);
  } else {
    m_transit.lose();
    ++m_counters.collapsed;
    m_log.write(Log::kWarning, "loss", "more changes come than there is room for: everybody is told of whole tables");
  }
}

// --- the end of a pass -----------------------------------------------------------------------------------------------

void Hub::endPass() {
  fanOut();
  sweep();
  flushTouched();
  closeEnded();
  dropInterestsOfClosed();
}

// --- clients go ------------------------------------------------------------------------------------------------------

void Hub::cut(Connection &connection, const char *reason) {
  if (connection.isEnded) return;
  ++m_counters.cut;
  m_log.write(Log::kWarning, "cut", "ended the connection of " + describe(connection.peer()) + ": it " + reason);
  m_resync.noteCut(connection.peer());
  end(connection);
}

void Hub::end(Connection &connection) {
  if (connection.isEnded) return;
  connection.isEnded = true;
  m_queuedBytes -= connection.outbox().changeBytes();
  connection.outbox().discard();
  m_ended.push_back(connection.id());
}

void Hub::closeEnded() {
  while (!m_ended.empty()) {
    const ConnectionId id = m_ended.back();
    m_ended.pop_back();
    const auto found = m_connections.find(id);
    Connection &connection = *found->second;
    // What it still has to say may make room and end others, so it comes before the books are closed.
    if (!connection.isOutOfStep) hearOut(connection);
    m_wantEverything.erase(id);
    const auto ofUid = m_connectionsOfUid.find(connection.peer().uid);
    if (--ofUid->second == 0) m_connectionsOfUid.erase(ofUid);
    m_closedInterests += connection.interests().size();
    m_poll.remove(connection.descriptor());
    connection.close();
    if (connection.isTouched) m_touched.erase(std::find(m_touched.begin(), m_touched.end(), &connection));
    m_closed.push_back(std::move(found->second));
    m_connections.erase(found);
  }
}

void Hub::dropInterestsOfClosed() {
  for (int left = kDroppedPerTurn; left > 0 && !m_closed.empty(); --left) {
    InterestList &interests = m_closed.back()->interests();
    if (interests.isEmpty()) {
      m_closed.pop_back();
    } else {
      m_routes.remove(interests.back());
      --m_closedInterests;
    }
  }
}

bool Hub::isBusy() const {
  return !m_transit.isEmpty() || !m_touched.empty() || !m_sweeping.empty() || !m_closed.empty();
}

bool Hub::isDrained() const {
  return m_transit.isEmpty() && m_sweeping.empty() &&
         std::all_of(m_connections.begin(), m_connections.end(),
                     [](const auto &entry) { return entry.second->outbox().isEmpty(); });
}

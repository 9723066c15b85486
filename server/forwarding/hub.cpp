#include "forwarding/hub.h"

#include <sys/random.h>
#include <sys/socket.h>

#include <algorithm>

#include "system/failure.h"

namespace {

constexpr std::size_t kRecordSize = sizeof(_ORV_DB_MESSAGE);
constexpr std::size_t kLeastAcksAllowed = 1000;
constexpr std::uint8_t kKnownActions = 7;
// What takes long is done piece by piece, so that a turn of the loop stays short.
constexpr int kSweptPerTurn = 2000;
constexpr int kDroppedPerTurn = 2000;
constexpr std::uint64_t kDeliveredPerTurn = 10'000;

SipKey randomSeed() {
  SipKey seed{};
  if (getrandom(&seed, sizeof seed, 0) != sizeof seed) failWithErrno("random numbers");
  return seed;
}

bool isGood(const _ORV_DB_MESSAGE &record) {
  return record.status == kStatusPlain && (record.action & kKnownActions) != 0;
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
    const bool isUsable = isGood(record) && record.type <= MSG_CHANGE;
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
      if (isUsable) ++m_counters.bad;
      return false;
  }
}

void Hub::registerKey(Connection &reader, const _ORV_DB_MESSAGE &record) {
  const RecordKey key(record);
  const bool isFull = reader.interests().size() >= m_limits.keysOfConnection || registeredKeys() >= m_limits.keys;
  if (isFull && m_routes.find(reader, key.text()) == nullptr) {
    giveEverything(reader);
    if (reader.isOld) tellNow(reader, record);
  } else {
    Interest &interest = m_routes.add(reader, key.text(), record.action);
    if (reader.isOld) tell(interest, record.action);
  }
  acknowledge(reader, record, kStatusAccepted);
}

void Hub::giveEverything(Connection &reader) {
  reader.wantsEverything = true;
  if (m_greedy.insert(reader.id()).second) ++m_counters.overKeys;
  m_log.write(Log::kWarning, "keys",
              describe(reader.peer()) + " registers more keys than it may, and gets every change from now on");
}

// There is nowhere to keep what has still to be told of a key that is not kept.
void Hub::tellNow(Connection &reader, const _ORV_DB_MESSAGE &record) {
  const RecordKey key(record);
  for (unsigned int bit = 1; bit <= 0x80; bit <<= 1) {
    if ((record.action & bit) != 0)
      deliver(reader, nullptr, wholeTableRecord(key.text(), static_cast<std::uint8_t>(bit)));
  }
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

// --- fan-out ---------------------------------------------------------------------------------------------------------

void Hub::endPass() {
  fanOut();
  sweep();
  flushTouched();
  closeEnded();
  dropInterestsOfClosed();
}

void Hub::fanOut() {
  const auto delivered = [this] { return m_counters.recordsOut + m_counters.collapsed; };
  const std::uint64_t enough = delivered() + kDeliveredPerTurn;
  while (m_transit.hasDue() && delivered() < enough) {
    forward(m_transit.takeDue());
    // Most readers take their share at once; those who don't are not to pay for it.
    if (m_unflushedBytes > m_limits.totalQueueBytes / 2) flushTouched();
  }
  if (m_transit.takeLostDue()) tellOfLost();
}

// One that wants everything has no keys to tell: it is told by the end of its connection.
void Hub::tellOfLost() {
  for (const ConnectionId id : m_greedy)
    cut(*m_connections.at(id), "wants every change, and some were lost");
  tellEverybody();
}

void Hub::forward(const Transit::Change &change) {
  if (const Route *route = m_routes.find(RecordKey(change.record).text())) {
    for (const auto &[id, interest] : route->readers) {
      const bool isWanted = id != change.sender && (interest->actions() & change.record.action) != 0;
      if (isWanted && !interest->reader().wantsEverything) deliver(interest->reader(), interest, change.record);
    }
  }
  for (const ConnectionId id : m_greedy) {
    if (id != change.sender) deliver(*m_connections.at(id), nullptr, change.record);
  }
}

// The interest is that for which the reader gets the record; null for one that wants everything.
void Hub::deliver(Connection &reader, Interest *interest, const _ORV_DB_MESSAGE &record) {
  if (reader.isEnded) return;
  Outbox &outbox = reader.outbox();
  if (outbox.isCollapsed() && interest != nullptr) {
    ++m_counters.collapsed;
    return tell(*interest, static_cast<std::uint8_t>(record.action & interest->actions()));
  }
  outbox.append(record);
  touch(reader);
  ++m_counters.recordsOut;
  m_queuedBytes += kRecordSize;
  m_unflushedBytes += kRecordSize;
  m_counters.largestQueue = std::max(m_counters.largestQueue, outbox.changeBytes());
  // A burst within one pass is no proof of a slow reader: it may take its share now.
  if (outbox.changeBytes() > m_limits.queueBytes && !reader.isBlocked) flush(reader);
  if (outbox.changeBytes() > m_limits.queueBytes) collapse(reader);
  if (!hasRoom()) makeRoom();
}

void Hub::tell(Interest &interest, std::uint8_t actions) {
  Connection &reader = interest.reader();
  if (reader.isEnded) return;
  reader.outbox().tell(interest, actions);
  touch(reader);
}

void Hub::tick(Clock::time_point now) {
  if (m_resync.takeDue(now)) tellEverybody();
}

void Hub::tellEverybody() {
  ++m_counters.resyncs;
  for (const auto &[id, connection] : m_connections) {
    if (connection->interests().isSwept()) m_sweeping.push_back(id);
    connection->interests().beginSweep();
  }
}

void Hub::sweep() {
  for (int i = 0; i < kSweptPerTurn && sweepOne(); ++i)
    continue;
}

bool Hub::sweepOne() {
  while (!m_sweeping.empty()) {
    const auto found = m_connections.find(m_sweeping.front());
    if (found != m_connections.end() && !found->second->interests().isSwept()) {
      Interest &interest = found->second->interests().sweepNext();
      tell(interest, interest.actions());
      return true;
    }
    m_sweeping.pop_front();
  }
  return false;
}

// --- memory ----------------------------------------------------------------------------------------------------------

// The longest queues pay. An eighth is freed at a time, so that not every change asks for the longest again.
void Hub::makeRoom() {
  if (m_queuedBytes == 0) return;
  std::vector<std::pair<std::size_t, Connection *>> queues;
  for (const auto &[id, connection] : m_connections) {
    if (connection->outbox().changeBytes() > 0)
      queues.emplace_back(connection->outbox().changeBytes(), connection.get());
  }
  std::make_heap(queues.begin(), queues.end());
  const std::size_t wanted = m_limits.totalQueueBytes - m_limits.totalQueueBytes / 8;
  while (usedBytes() > wanted && !queues.empty()) {
    collapse(*queues.front().second);
    std::pop_heap(queues.begin(), queues.end());
    queues.pop_back();
  }
}

// One that wants everything is told by the end of its connection here, too.
void Hub::collapse(Connection &reader) {
  ++m_counters.overflows;
  Outbox &outbox = reader.outbox();
  m_queuedBytes -= outbox.changeBytes();
  for (const _ORV_DB_MESSAGE &change : outbox.collapse()) {
    ++m_counters.collapsed;
    Interest *interest = m_routes.find(reader, RecordKey(change).text());
    if (interest != nullptr) tell(*interest, static_cast<std::uint8_t>(change.action & interest->actions()));
  }
  if (reader.wantsEverything) return cut(reader, "does not read the changes that it wants");
  m_log.write(Log::kWarning, "collapse",
              describe(reader.peer()) + " does not read its changes, and is told of whole tables until it does");
}

// --- what goes out ---------------------------------------------------------------------------------------------------

void Hub::touch(Connection &connection) {
  if (!connection.isBlocked) addTouched(connection);
}

void Hub::addTouched(Connection &connection) {
  if (connection.isTouched) return;
  connection.isTouched = true;
  m_touched.push_back(&connection);
}

void Hub::flushTouched() {
  m_unflushedBytes = 0;
  std::vector<Connection *> unfinished;
  for (Connection *connection : m_touched) {
    connection->isTouched = !connection->isEnded && flush(*connection) == Outbox::Progress::kMore;
    if (connection->isTouched) unfinished.push_back(connection);
  }
  m_touched = std::move(unfinished);
}

Outbox::Progress Hub::flush(Connection &connection) {
  const std::size_t before = connection.outbox().changeBytes();
  const Outbox::Progress progress = connection.outbox().flush(connection.descriptor());
  m_queuedBytes -= before - connection.outbox().changeBytes();
  if (progress == Outbox::Progress::kFailed) cut(connection, "can't be sent to");
  const bool isBlocked = progress == Outbox::Progress::kBlocked;
  if (isBlocked != connection.isBlocked) {
    m_poll.change(connection.descriptor(), connection.id(), isBlocked ? EPOLLIN | EPOLLOUT : EPOLLIN);
  }
  connection.isBlocked = isBlocked;
  return progress;
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
    m_greedy.erase(id);
    const auto ofUid = m_connectionsOfUid.find(connection.peer().uid);
    if (--ofUid->second == 0) m_connectionsOfUid.erase(ofUid);
    m_queuedBytes -= connection.outbox().changeBytes();
    m_closedInterests += connection.interests().size();
    m_poll.remove(connection.descriptor());
    connection.close();
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

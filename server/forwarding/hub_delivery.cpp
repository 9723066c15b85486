// What a hub hands to its connections, and the memory that it takes.
#include <algorithm>

#include "forwarding/hub.h"

namespace {

// What takes long is done piece by piece, so that a turn of the loop stays short.
constexpr int kSweptPerTurn = 2000;
constexpr std::uint64_t kDeliveredPerTurn = 10'000;

}  // namespace

// --- fan-out ---------------------------------------------------------------------------------------------------------

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
  for (const ConnectionId id : m_wantEverything)
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
  for (const ConnectionId id : m_wantEverything) {
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

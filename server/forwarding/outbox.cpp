#include "forwarding/outbox.h"

#include <sys/socket.h>
#include <sys/uio.h>

#include <algorithm>
#include <array>
#include <cerrno>

#include "forwarding/routes.h"

namespace {

// Records that are made at a time of what is untold: little memory, should the socket not take them.
constexpr std::size_t kDrawnRecords = 32;
// One connection's share of a turn.
constexpr int kMostWrites = 8;

std::string_view bytesOf(const _ORV_DB_MESSAGE &record) {
  return {reinterpret_cast<const char *>(&record), kRecordSize};
}

iovec segment(const ByteQueue &queue) {
  const std::string_view bytes = queue.view();
  return {const_cast<char *>(bytes.data()), bytes.size()};
}

template <std::size_t kCount>
ssize_t sendWithoutWaiting(int socket, std::array<iovec, kCount> segments) {
  msghdr message{};
  message.msg_iov = segments.data();
  message.msg_iovlen = segments.size();
  ssize_t count;
  do {
    count = sendmsg(socket, &message, MSG_DONTWAIT | MSG_NOSIGNAL);
  } while (count < 0 && errno == EINTR);
  return count;
}

}  // namespace

void Outbox::acknowledge(const _ORV_DB_MESSAGE &reply) { m_acks.append(bytesOf(reply)); }

void Outbox::append(const _ORV_DB_MESSAGE &change) {
  m_isCollapsed = false;
  m_changes.append(bytesOf(change));
  m_largest = std::max(m_largest, m_changes.size());
}

void Outbox::tell(Interest &interest, std::uint8_t actions) {
  if (actions == 0) return;
  if (interest.untold == 0) interest.untoldPlace = m_untold.insert(m_untold.end(), &interest);
  interest.untold = static_cast<std::uint8_t>(interest.untold | actions);
}

std::vector<_ORV_DB_MESSAGE> Outbox::collapse() {
  m_isCollapsed = true;
  std::vector<_ORV_DB_MESSAGE> waiting(m_changes.size() / kRecordSize);
  if (!waiting.empty()) std::memcpy(waiting.data(), m_changes.view().data(), m_changes.size());
  m_changes.clear();
  return waiting;
}

void Outbox::forget(Interest &interest) {
  if (interest.untold != 0) m_untold.erase(interest.untoldPlace);
  interest.untold = 0;
  m_isCollapsed = isCollapsed();
}

void Outbox::discard() {
  for (ByteQueue *queue : {&m_started, &m_acks, &m_drawn, &m_changes})
    queue->clear();
  for (Interest *interest : m_untold)
    interest->untold = 0;
  m_untold.clear();
}

Outbox::Progress Outbox::flush(int socket) {
  for (int writes = 0; !isEmpty(); ++writes) {
    if (writes == kMostWrites) return Progress::kMore;
    if (m_drawn.isEmpty()) drawUntold();
    const ssize_t count = sendWithoutWaiting(
        socket, std::array{segment(m_started), segment(m_acks), segment(m_drawn), segment(m_changes)});
    if (count < 0 && errno == EAGAIN) return Progress::kBlocked;
    if (count < 0 && errno != EPIPE && errno != ECONNRESET) return Progress::kFailed;
    if (count < 0) {
      discard();
    } else {
      consume(static_cast<std::size_t>(count));
    }
    m_isCollapsed = isCollapsed();
  }
  return Progress::kDone;
}

void Outbox::drawUntold() {
  for (std::size_t drawn = 0; drawn < kDrawnRecords && !m_untold.empty(); m_untold.pop_front()) {
    Interest &interest = *m_untold.front();
    makeWholeTableRecords(interest.route().key, interest.untold, [&](const _ORV_DB_MESSAGE &record) {
      m_drawn.append(bytesOf(record));
      ++drawn;
    });
    interest.untold = 0;
  }
}

// In the order of the segments.
void Outbox::consume(std::size_t count) {
  const std::size_t started = std::min(count, m_started.size());
  m_started.consume(started);
  count -= started;
  for (ByteQueue *queue : {&m_acks, &m_drawn, &m_changes})
    take(*queue, count);
}

// A record of which a part has been sent is completed before anything else.
void Outbox::take(ByteQueue &queue, std::size_t &sent) {
  const std::size_t own = std::min(sent, queue.size());
  const std::size_t part = own % kRecordSize;
  sent -= own;
  queue.consume(own - part);
  if (part == 0) return;
  m_started.append(queue.view().substr(part, kRecordSize - part));
  queue.consume(kRecordSize);
}

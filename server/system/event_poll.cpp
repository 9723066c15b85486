#include "system/event_poll.h"

#include "system/failure.h"

EventPoll::EventPoll() : m_epoll(epoll_create1(EPOLL_CLOEXEC)) {
  if (!m_epoll.isOpen()) failWithErrno("epoll");
}

bool EventPoll::add(int fd, std::uint64_t source, std::uint32_t events) {
  epoll_event event{events, {}};
  event.data.u64 = source;
  const bool isAdded = epoll_ctl(m_epoll.get(), EPOLL_CTL_ADD, fd, &event) == 0;
  if (isAdded) ++m_count;
  return isAdded;
}

void EventPoll::change(int fd, std::uint64_t source, std::uint32_t events) {
  epoll_event event{events, {}};
  event.data.u64 = source;
  epoll_ctl(m_epoll.get(), EPOLL_CTL_MOD, fd, &event);
}

void EventPoll::remove(int fd) {
  if (epoll_ctl(m_epoll.get(), EPOLL_CTL_DEL, fd, nullptr) == 0) --m_count;
}

// Room is made here, not by add(): descriptors are added while the last ready ones are gone through.
EventPoll::Ready EventPoll::wait(int timeoutMs) {
  if (m_ready.size() < m_count) m_ready.resize(2 * m_count);
  const int count = epoll_wait(m_epoll.get(), m_ready.data(), static_cast<int>(m_ready.size()), timeoutMs);
  if (count < 0 && errno != EINTR) failWithErrno("epoll");
  return {m_ready.data(), count < 0 ? 0 : count};
}

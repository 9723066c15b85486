#include "status_page.h"

#include <sys/socket.h>

#include <cerrno>
#include <iterator>

#include "system/failure.h"

StatusPage::StatusPage(const std::string &path, mode_t mode, Document document) : m_document(std::move(document)) {
  if (path.empty()) return;
  m_file.emplace(path, SocketFile::Rights{mode}, SOMAXCONN);
  if (!m_poll.add(m_file->descriptor(), EventPoll::kListener)) failWithErrno(path);
}

void StatusPage::serve() {
  for (const epoll_event &event : m_poll.wait(0)) {
    if (event.data.u64 == EventPoll::kListener) {
      accept();
    } else if (const auto reader = m_readers.find(event.data.u64); !send(reader->second)) {
      m_poll.remove(reader->second.socket.get());
      m_readers.erase(reader);
    }
  }
}

void StatusPage::tick() {
  for (auto reader = m_readers.begin(); reader != m_readers.end();) {
    const bool isLate = Clock::now() - reader->second.begin > kPatience;
    if (isLate) m_poll.remove(reader->second.socket.get());
    reader = isLate ? m_readers.erase(reader) : std::next(reader);
  }
  if (m_isPaused) m_poll.change(m_file->descriptor(), EventPoll::kListener, EPOLLIN);
  m_isPaused = false;
}

void StatusPage::accept() {
  Reader reader{
      Descriptor{accept4(m_file->descriptor(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK)}, {}, Clock::now()};
  if (!reader.socket.isOpen()) {
    m_isPaused = errno != EAGAIN && errno != EINTR && errno != ECONNABORTED;
    if (m_isPaused) m_poll.change(m_file->descriptor(), EventPoll::kListener, 0);
    return;
  }
  if (m_readers.size() >= kMostReaders) return;
  reader.unsent.append(m_document());
  if (!send(reader)) return;
  const std::uint64_t id = m_nextReader++;
  if (m_poll.add(reader.socket.get(), id, EPOLLOUT)) m_readers.emplace(id, std::move(reader));
}

bool StatusPage::send(Reader &reader) {
  while (!reader.unsent.isEmpty()) {
    const std::string_view bytes = reader.unsent.view();
    const ssize_t count = ::send(reader.socket.get(), bytes.data(), bytes.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
    if (count < 0) return errno == EAGAIN || errno == EINTR;
    reader.unsent.consume(static_cast<std::size_t>(count));
  }
  return false;
}

#include "fuzz/client/receive_session.h"

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <thread>
#include <utility>

#include "fuzz/broken.h"
#include "unit/event/event_mgr_access.h"
#include "unit/event/standin/stand_ins.h"

namespace {

constexpr std::size_t kLongestPiece = 2 * kRecordBytes;
constexpr unsigned int kLastPause = 1024;

}  // namespace

thread_local ReceiveSession *ReceiveSession::s_current = nullptr;

void ReceiveSession::run() {
  EventMgr::settle(EventMgr::kLost, EventMgr::kLost);
  EventMgr::forgetPosts();
  EventMgr::setSocket(socket(AF_UNIX, SOCK_STREAM, 0));
  EventMgr::setRunning(true);
  std::thread([this] {
    s_current = this;
    EventMgr::runMessageLoop();
    s_current = nullptr;
  }).join();
  checkEnd();
  if (EventMgr::socket() >= 0) close(EventMgr::socket());
  EventMgr::setSocket(-1);
  EventMgr::clearRegistry();
  if (!m_broken.empty()) throw std::logic_error(m_broken);
}

int ReceiveSession::poll() {
  checkQuiet();
  checkGoesOn();
  while (true) {
    if (!m_incoming.empty() || isClosed()) return 1;
    switch (m_input.choice(16)) {
      case 0:
        return failWith(EINTR);
      case 1:
        stop();
        return failWith(EINTR);
      case 2:
        stop();
        return 1;
      case 3:
        m_isOver = true;
        return failWith(ENOMEM);
      case 4:
        return 1;  // for nothing, or for a part that has not come yet
      case 5:
      case 6:
        registerOne();
        break;
      case 7:
        cancelOne();
        break;
      case 8:
        notifyOne();
        break;
      default:
        serve();
    }
    if (!EventMgr::running()) return failWith(EINTR);
  }
}

ssize_t ReceiveSession::read(char *buffer, std::size_t length) {
  if (m_model.bytesOfPartialRecord() == 0) checkQuiet();
  checkGoesOn();
  if (!m_isAnswering && m_input.oneIn(16)) {
    switch (m_input.choice(3)) {
      case 0:
        return failWith(EINTR);
      case 1:
        stop();
        return failWith(EINTR);
      default:
        return loseConnection(failWith(ECONNRESET));
    }
  }
  while (m_incoming.empty() && !isClosed())
    serve();
  if (m_incoming.empty()) return loseConnection(0);
  const std::size_t count = std::min({length, m_incoming.size(), 1 + m_input.choice(kLongestPiece)});
  std::memcpy(buffer, m_incoming.data(), count);
  m_model.read(m_incoming.substr(0, count));
  m_incoming.erase(0, count);
  return static_cast<ssize_t>(count);
}

ssize_t ReceiveSession::write(const char *bytes, std::size_t length) {
  std::size_t count = length;
  if (m_input.oneIn(16)) {
    switch (m_input.choice(4)) {
      case 0:
        return failWith(EINTR);
      case 1:
        m_sendingFails = true;
        return failWith(EPIPE);
      case 2:
        m_sendingFails = true;
        return 0;
      default:
        count = 1 + m_input.choice(length);
    }
  }
  count = std::min(count, length);
  m_sent.append(bytes, count);
  return static_cast<ssize_t>(count);
}

// The pauses double, and one that is interrupted goes on with what is left of it.
int ReceiveSession::sleep(const timespec &pause, timespec *left) {
  checkQuiet();
  checkGoesOn();
  mustHold(pause.tv_sec == m_left.tv_sec && pause.tv_nsec == m_left.tv_nsec, "the pause before reconnecting");
  switch (m_input.atEnd() ? 0 : m_input.choice(8)) {
    case 0:
      stop();
      return failWith(EINTR);
    case 1:
      m_left.tv_sec /= 2;
      m_left.tv_nsec = 5;
      *left = m_left;
      return failWith(EINTR);
    case 2:
      m_left = {static_cast<time_t>(m_pause), 0};
      return failWith(ENOSYS);  // the same pause again
    default:
      m_isDue = true;
      return 0;
  }
}

// Each follows a pause that was slept through.
int ReceiveSession::connect() {
  if (!EventMgr::running()) return failWith(ECONNREFUSED);
  mustHold(std::exchange(m_isDue, false), "no attempt to connect without a pause before it");
  const bool isAccepted = m_input.oneIn(2);
  if (isAccepted) {
    m_replay = m_model.replay();
    m_isReplaying = true;
    m_isClosed = false;
  } else {
    m_isOver = m_pause == kLastPause;
    m_pause *= 2;
  }
  m_left = {static_cast<time_t>(m_pause), 0};
  return isAccepted ? 0 : failWith(ECONNREFUSED);
}

// The reply comes while a registration waits, unless it waits on the message thread itself.
int ReceiveSession::wait(sem_t *semaphore) {
  m_sentBefore += std::exchange(m_sent, "");
  while (sem_trywait(semaphore) != 0) {
    if (m_isInCallback || m_reply.empty()) return failWith(m_input.oneIn(4) ? EINTR : ETIMEDOUT);
    m_incoming += std::exchange(m_reply, "");
    m_isAnswering = true;
    while (m_incoming.size() + m_model.bytesOfPartialRecord() >= kRecordBytes && EventMgr::running())
      mustHold(EventMgr::receiveRecord(), "a whole record is received");
    m_isAnswering = false;
  }
  return 0;
}

ssize_t ReceiveSession::loseConnection(ssize_t result) {
  m_model.disconnected();
  m_incoming.clear();
  m_pause = 1;
  m_left = {static_cast<time_t>(m_pause), 0};
  return result;
}

void ReceiveSession::stop() {
  EventMgr::setRunning(false);
  m_isOver = true;
}

void ReceiveSession::checkQuiet() {
  mustHold(m_model.calls().empty(), "every change that somebody waits for is told");
  const std::string sent = std::exchange(m_sent, "");
  if (!std::exchange(m_isReplaying, false)) return mustHold(sent.empty(), "nothing is sent unasked");
  const bool isPart = std::exchange(m_sendingFails, false) && m_replay.rfind(sent, 0) == 0;
  mustHold(isPart || sent == m_replay, "registrations are repeated in their order");
}

void ReceiveSession::checkEnd() {
  checkQuiet();
  mustHold(m_isOver && !EventMgr::running(), "the loop ends when it is told to, or has nothing to wait for");
  const std::vector<RegistryEntry> registry = EventMgr::registry();
  const std::vector<ExpectedEntry> expected = m_model.entries();
  mustHold(registry.size() == expected.size(), "there are so many registrations");
  for (std::size_t i = 0; i < expected.size() && i < registry.size(); ++i) {
    const RegistryEntry entry{expected[i].db, expected[i].table, expected[i].actions, expected[i].flag};
    mustHold(registry[i] == entry, "the registration of " + shown(entry.db) + '.' + shown(entry.table));
  }
}

void ReceiveSession::mustHold(bool holds, const std::string &what) {
  if (holds) return;
  if (m_broken.empty()) m_broken = "not so: " + what;
  EventMgr::setRunning(false);
}

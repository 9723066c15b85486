#include "listener.h"

#include <fcntl.h>
#include <sys/socket.h>

#include <cerrno>

#include "system/systemd.h"

namespace {

Descriptor openReserve() { return Descriptor{open("/dev/null", O_RDONLY | O_CLOEXEC)}; }

}  // namespace

// The lock is taken before anything else is touched, so that servers which start at once do not take each other's file
// for one that nobody answers.
Listener::Listener(const Options &options)
    : m_path(options.socketPath),
      m_rights{options.socketMode, options.socketGroup},
      m_passed(takeSystemdSocket()),
      m_reserve(openReserve()) {
  if (m_passed.isOpen()) return;
  m_lock.emplace(m_path + ".lock");
  renew();
}

void Listener::renew() { m_file = std::make_unique<SocketFile>(m_path, m_rights, kBacklog); }

Listener::Accepted Listener::accept() {
  if (!m_reserve.isOpen()) m_reserve = openReserve();
  for (;;) {
    Descriptor socket{accept4(descriptor(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC)};
    if (socket.isOpen()) return {m_reserve.isOpen() ? Outcome::kAccepted : Outcome::kOnReserve, std::move(socket)};
    if (errno == EINTR || errno == ECONNABORTED) continue;
    if (errno == EAGAIN) return {Outcome::kNobodyWaits, {}};
    const bool isOutOfDescriptors = errno == EMFILE || errno == ENFILE;
    if (!isOutOfDescriptors || !m_reserve.isOpen()) return {Outcome::kFailed, {}};
    m_reserve.reset();
  }
}

#include "server.h"

#include <sys/resource.h>
#include <sys/signalfd.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <chrono>
#include <csignal>

#include "report.h"
#include "system/failure.h"
#include "system/systemd.h"

namespace {

using namespace std::chrono_literals;

constexpr int kSignalsRead[] = {SIGTERM, SIGINT, SIGHUP};
constexpr itimerspec kTick{{0, 400'000'000}, {0, 400'000'000}};
constexpr auto kDrainTime = 1s;
constexpr int kDrainPauseMs = 10;

// From here on these signals are read from the descriptor and interrupt nothing.
Descriptor openSignals() {
  sigset_t signals;
  sigemptyset(&signals);
  for (const int signal : kSignalsRead)
    sigaddset(&signals, signal);
  Descriptor descriptor{signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK)};
  const bool isDone = sigprocmask(SIG_BLOCK, &signals, nullptr) == 0 && std::signal(SIGPIPE, SIG_IGN) != SIG_ERR;
  if (!descriptor.isOpen() || !isDone) failWithErrno("signals");
  return descriptor;
}

Descriptor openTimer() {
  Descriptor timer{timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK)};
  if (timerfd_settime(timer.get(), 0, &kTick, nullptr) != 0) failWithErrno("timer");
  return timer;
}

void raiseDescriptorLimit() {
  rlimit limit{};
  if (getrlimit(RLIMIT_NOFILE, &limit) != 0) return;
  limit.rlim_cur = limit.rlim_max;
  setrlimit(RLIMIT_NOFILE, &limit);
}

}  // namespace

Server::Server(const Options &options, Log &log)
    : m_options(options),
      m_log(log),
      m_signals(openSignals()),
      m_timer(openTimer()),
      m_listener(options),
      m_start(Clock::now()),
      m_hub(options.limits, Resync(options.resync, ticksSinceBoot(), m_start), m_poll, log),
      m_status(options.statusPath, options.statusMode,
               [this] {
                 return makeReport(m_hub, std::chrono::duration_cast<std::chrono::seconds>(Clock::now() - m_start));
               }),
      m_hasWatchdog(hasSystemdWatchdog()) {
  raiseDescriptorLimit();
  watch(m_signals.get(), EventPoll::kSignals);
  watch(m_timer.get(), EventPoll::kTimer);
  watch(m_listener.descriptor(), EventPoll::kListener);
  watch(m_status.descriptor(), EventPoll::kStatus);
}

void Server::watch(int descriptor, EventPoll::Source source) {
  if (!m_poll.add(descriptor, source)) failWithErrno("epoll");
}

void Server::run() {
  tellSystemd();
  while (!m_isStopping)
    turn(m_hub.isBusy() ? 0 : -1);
  m_systemd.notify("STOPPING=1");
  drain();
}

void Server::turn(int timeoutMs) {
  m_hub.beginPass();
  for (const epoll_event &event : m_poll.wait(timeoutMs))
    dispatch(event);
  m_hub.endPass();
}

void Server::dispatch(const epoll_event &event) {
  switch (event.data.u64) {
    case EventPoll::kSignals:
      return readSignals();
    case EventPoll::kTimer:
      return tick();
    case EventPoll::kListener:
      return acceptWaiting();
    case EventPoll::kStatus:
      return m_status.serve();
    default:
      return m_hub.serve(event.data.u64, event.events);
  }
}

void Server::drain() {
  for (const auto end = Clock::now() + kDrainTime; !m_hub.isDrained() && Clock::now() < end;) {
    turn(m_hub.isBusy() ? 0 : kDrainPauseMs);
  }
}

// --- clients come ----------------------------------------------------------------------------------------------------

void Server::acceptWaiting() {
  for (int i = 0; i <= Listener::kBacklog; ++i) {
    Listener::Accepted accepted = m_listener.accept();
    if (accepted.outcome == Listener::Outcome::kNobodyWaits) return;
    if (accepted.outcome == Listener::Outcome::kFailed) return pauseAccepting();
    Peer peer = peerOf(accepted.socket.get());
    const bool isOnReserve = accepted.outcome == Listener::Outcome::kOnReserve;
    const char *reason = isOnReserve ? "there are no file descriptors left" : reasonToRefuse(peer);
    if (reason != nullptr) {
      refuse(std::move(accepted.socket), peer, reason);
    } else {
      m_hub.welcome(std::move(accepted.socket), std::move(peer));
    }
  }
}

const char *Server::reasonToRefuse(const Peer &peer) const {
  if (!isAllowed(peer)) return "it is not allowed to connect";
  if (m_hub.connections().size() >= m_options.maxConnections) return "there are too many connections";
  return m_hub.connectionsOf(peer.uid) >= m_options.maxUserConnections ? "its user has too many connections" : nullptr;
}

bool Server::isAllowed(const Peer &peer) const {
  const bool isEverybody = m_options.allowedUsers.empty() && m_options.allowedGroups.empty();
  return isEverybody || m_options.allowedUsers.count(peer.uid) != 0 || m_options.allowedGroups.count(peer.gid) != 0;
}

void Server::refuse(Descriptor socket, const Peer &peer, const char *reason) {
  m_log.write(Log::kWarning, "refuse", "refused " + describe(peer) + ": " + reason);
  m_hub.refuse(std::move(socket), peer, isAllowed(peer) ? Hub::Hearing::kHeard : Hub::Hearing::kIgnored);
}

// Somebody waits whom the system does not let us accept: to ask again at once would do nothing but spin.
void Server::pauseAccepting() {
  m_log.write(Log::kError, "accept", std::string("can't accept connections: ") + std::strerror(errno));
  m_poll.change(m_listener.descriptor(), EventPoll::kListener, 0);
  m_isPaused = true;
}

// --- what comes with time --------------------------------------------------------------------------------------------

void Server::readSignals() {
  signalfd_siginfo signal{};
  while (read(m_signals.get(), &signal, sizeof signal) == sizeof signal) {
    if (signal.ssi_signo != SIGHUP) m_isStopping = true;
  }
}

// A notification that finds its receiver busy is repeated.
void Server::tellSystemd() {
  if (!m_isReadyTold) m_isReadyTold = m_systemd.notify("READY=1");
  if (m_hasWatchdog) m_systemd.notify("WATCHDOG=1");
}

void Server::tick() {
  std::uint64_t expirations = 0;
  [[maybe_unused]] const ssize_t bytes = read(m_timer.get(), &expirations, sizeof expirations);
  m_log.tick();
  m_status.tick();
  m_hub.tick(Clock::now());
  tellSystemd();
  if (m_isPaused) resumeAccepting();
  watchListener();
}

// Who waited meanwhile was known to no pass, whatever it had registered.
void Server::resumeAccepting() {
  m_poll.change(m_listener.descriptor(), EventPoll::kListener, EPOLLIN);
  m_isPaused = false;
  m_hub.requestResync();
}

// What somebody has put in the socket's place is left alone, and not even asked whether it answers: every call there
// would be that of an old process to the server that answers it.
void Server::watchListener() {
  const SocketFile::State state = m_listener.state();
  if (state == SocketFile::State::kVanished) renewListener();
  if (state == SocketFile::State::kReplaced) {
    m_log.write(Log::kError, "socket", m_options.socketPath + ": another file has taken its place");
  }
}

// Whoever waits on the old socket is accepted before it goes.
void Server::renewListener() {
  acceptWaiting();
  m_poll.remove(m_listener.descriptor());
  try {
    m_listener.renew();
    m_log.write(Log::kError, "socket", m_options.socketPath + " had vanished and is there again");
  } catch (const std::exception &error) {
    m_log.write(Log::kError, "socket", error.what());
  }
  watch(m_listener.descriptor(), EventPoll::kListener);
}

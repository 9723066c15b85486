#include "fault/proxy/tcp_proxy.h"

#include <arpa/inet.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <utility>

#include "fault/proxy/relay.h"

namespace {

using Clock = std::chrono::steady_clock;

[[noreturn]] void fail(const char *what) { throw std::system_error(errno, std::generic_category(), what); }

sockaddr_in localAddress(unsigned int port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(static_cast<std::uint16_t>(port));
  return address;
}

UniqueFd newSocket() {
  UniqueFd fd(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
  if (!fd) fail("socket");
  return fd;
}

// What is passed on goes out at once, in the pieces in which it was planned.
void sendAtOnce(const UniqueFd &fd) {
  const int on = 1;
  setsockopt(fd.get(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
}

UniqueFd connectTo(unsigned int port) {
  const sockaddr_in address = localAddress(port);
  UniqueFd fd = newSocket();
  if (connect(fd.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0) fail("connect");
  sendAtOnce(fd);
  return fd;
}

// Until the first relay has something to be released.
int pollTimeout(const std::list<std::shared_ptr<Relay>> &relays) {
  int timeout = -1;
  for (const auto &relay : relays) {
    if (!relay->releaseTime()) continue;
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(*relay->releaseTime() - Clock::now());
    const int milliseconds = static_cast<int>(std::max<std::int64_t>(left.count(), 0));
    timeout = timeout < 0 ? milliseconds : std::min(timeout, milliseconds);
  }
  return timeout;
}

}  // namespace

TcpProxy::TcpProxy(const DatabaseServer &server)
    : serverPort_(server.port), listener_(newSocket()), stop_(eventfd(0, EFD_CLOEXEC)) {
  sockaddr_in address = localAddress(0);
  socklen_t length = sizeof address;
  auto *generic = reinterpret_cast<sockaddr *>(&address);
  if (!stop_ || bind(listener_.get(), generic, length) != 0 || listen(listener_.get(), SOMAXCONN) != 0 ||
      getsockname(listener_.get(), generic, &length) != 0) {
    fail("listen");
  }
  port_ = ntohs(address.sin_port);
  thread_ = std::thread([this] { run(); });
}

TcpProxy::~TcpProxy() {
  eventfd_write(stop_.get(), 1);
  thread_.join();
}

void TcpProxy::breakNext(const Plan &plan) {
  const std::lock_guard<std::mutex> planning(mutex_);
  next_ = plan;
  connections_ = 0;
  planned_.reset();
}

int TcpProxy::connectionCount() const {
  const std::lock_guard<std::mutex> asking(mutex_);
  return connections_;
}

bool TcpProxy::hasBroken() const {
  const std::lock_guard<std::mutex> asking(mutex_);
  return planned_ != nullptr && planned_->hasBroken();
}

std::string TcpProxy::passedOn(Direction direction) const {
  const std::lock_guard<std::mutex> asking(mutex_);
  return planned_ == nullptr ? "" : planned_->passedOn(direction);
}

void TcpProxy::accept() {
  UniqueFd client(accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC));
  if (!client) return;  // it has been closed again
  sendAtOnce(client);
  const std::lock_guard<std::mutex> accepting(mutex_);
  const Plan plan = connections_++ == 0 ? next_ : Plan{};
  relays_.push_back(std::make_shared<Relay>(std::move(client), connectTo(serverPort_), plan));
  if (connections_ == 1) planned_ = relays_.back();
}

void TcpProxy::run() {
  while (true) {
    std::vector<pollfd> all{{stop_.get(), POLLIN, 0}, {listener_.get(), POLLIN, 0}};
    for (const auto &relay : relays_) {
      const Relay::Watched watched = relay->watched();
      all.insert(all.end(), {watched.client, watched.server});
    }
    if (poll(all.data(), all.size(), pollTimeout(relays_)) < 0) continue;
    if (all[0].revents != 0) return;
    std::size_t place = 2;
    for (const auto &relay : relays_) {
      relay->handle({all[place], all[place + 1]});
      place += 2;
      if (relay->releaseTime() && Clock::now() >= *relay->releaseTime()) relay->release();
    }
    relays_.remove_if([](const auto &relay) { return relay->isOver(); });
    if (all[1].revents != 0) accept();
  }
}

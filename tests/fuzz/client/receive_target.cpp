// The input is a script: whenever the client waits for something, it says what comes next. System calls are those of
// the stand-ins.
#include "fuzz/client/receive_session.h"
#include "fuzz/targets.h"
#include "unit/event/standin/stand_ins.h"

namespace {

void playStandIns() {
  standIns.poll.play([](pollfd *entries, nfds_t count, int timeout) {
    auto *session = ReceiveSession::current();
    return session != nullptr ? session->poll() : __real_poll(entries, count, timeout);
  });
  standIns.read.play([](int fd, void *buffer, size_t length) {
    auto *session = ReceiveSession::current();
    return session != nullptr ? session->read(static_cast<char *>(buffer), length) : __real_read(fd, buffer, length);
  });
  standIns.write.play([](int fd, const void *bytes, size_t length) {
    auto *session = ReceiveSession::current();
    return session != nullptr ? session->write(static_cast<const char *>(bytes), length)
                              : __real_write(fd, bytes, length);
  });
  standIns.sleep.play([](const timespec *pause, timespec *left) {
    auto *session = ReceiveSession::current();
    return session != nullptr ? session->sleep(*pause, left) : __real_nanosleep(pause, left);
  });
  standIns.connect.play([](int fd, const sockaddr *address, socklen_t length) {
    auto *session = ReceiveSession::current();
    return session != nullptr ? session->connect() : __real_connect(fd, address, length);
  });
  standIns.timedWait.play([](sem_t *semaphore, const timespec *deadline) {
    auto *session = ReceiveSession::current();
    return session != nullptr ? session->wait(semaphore) : __real_sem_timedwait(semaphore, deadline);
  });
}

}  // namespace

void playReceive(const std::uint8_t *data, std::size_t size) {
  [[maybe_unused]] static const bool areSet = (playStandIns(), true);
  ReceiveSession(data, size).run();
}

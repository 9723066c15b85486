#include "changes/change_queue.h"

#include <sys/eventfd.h>

#include <cerrno>
#include <system_error>
#include <utility>

ChangeQueue::ChangeQueue() : event_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
  if (!event_.isOpen()) throw std::system_error(errno, std::generic_category(), "eventfd");
}

void ChangeQueue::push(Change change) {
  const std::lock_guard adding(mutex_);
  changes_.push_back(std::move(change));
  eventfd_write(event_.get(), 1);
}

std::deque<Change> ChangeQueue::takeAll() {
  const std::lock_guard taking(mutex_);
  eventfd_t pushed = 0;
  eventfd_read(event_.get(), &pushed);
  return std::exchange(changes_, {});
}

void ChangeQueue::close() {
  const std::lock_guard closing(mutex_);
  isClosed_ = true;
  eventfd_write(event_.get(), 1);
}

bool ChangeQueue::isClosed() {
  const std::lock_guard asking(mutex_);
  return isClosed_;
}

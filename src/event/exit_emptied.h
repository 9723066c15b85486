// Static objects that stay usable while the process exits.
#pragma once

#include <new>
#include <utility>

// Holds a static T that is emptied by T::emptyAtExit() when its turn at exit comes, but never destroyed: threads that
// are still inside the library then find a valid object.
template <class T>
class exit_emptied {
 public:
  template <class... Arguments>
  explicit exit_emptied(Arguments &&...arguments) {
    ::new (static_cast<void *>(m_storage)) T(std::forward<Arguments>(arguments)...);
  }
  ~exit_emptied() { get().emptyAtExit(); }
  exit_emptied(const exit_emptied &) = delete;
  exit_emptied &operator=(const exit_emptied &) = delete;

  T &get() { return *std::launder(reinterpret_cast<T *>(m_storage)); }
  T &operator*() { return get(); }
  T *operator->() { return &get(); }

 private:
  alignas(T) unsigned char m_storage[sizeof(T)];
};

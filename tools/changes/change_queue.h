// Takes changes from the library's message thread to the thread that prints them.
#pragma once

#include <chrono>
#include <deque>
#include <mutex>
#include <string>

#include "descriptor.h"

struct Change {
  std::chrono::system_clock::time_point time;
  std::string database;
  std::string table;
  unsigned int actions;
  unsigned long long rowId;
};

class ChangeQueue {
 public:
  ChangeQueue();

  void push(Change change);
  std::deque<Change> takeAll();
  // Says that no more will come.
  void close();
  bool isClosed();
  // Readable when there is something to take, and when it has been closed.
  int descriptor() const { return event_.get(); }

 private:
  const Descriptor event_;
  std::mutex mutex_;
  std::deque<Change> changes_;
  bool isClosed_ = false;
};

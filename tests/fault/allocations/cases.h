// Each exported function, how it is called, and what it gives when memory runs out in it.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "fault/allocations/world.h"

// What a call gives besides a status of the library.
constexpr int kNull = -1;
constexpr int kException = -2;

struct Case {
  const char *function;
  const char *variant;  // what is special about this call; empty for a function's only one

  // What a lack of memory gives. Either nothing has been done then, or the call has succeeded.
  enum Defined {
    needsNoMemory,
    status4,
    nullPointer,
    badAlloc,
    status4UntilItIsDone,  // then success, though it may go unannounced
    successAnyway,         // though it may go unannounced
  } defined;

  int usual;  // what the call gives when there is memory
  std::function<int(World &)> call;
  std::function<void(World &)> prepare = [](World &) {};
  // Releases what the call has made.
  std::function<void(World &)> release = [](World &) {};
  // Whether the call has had its effect.
  std::function<bool(World &)> isDone = {};
  std::size_t announces = 0;  // how many records go to the notification server
};

std::vector<Case> connectionCases();
std::vector<Case> contentCases();
std::vector<Case> notificationCases();
std::vector<Case> resultCases();
std::vector<Case> writeCases();

const std::vector<Case> &allCases();

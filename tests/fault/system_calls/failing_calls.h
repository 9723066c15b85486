// The system calls of the notification client, reached in place of the C library's because of the linker's option
// --wrap. One of them goes wrong on demand; a test's own calls never do. Pauses between attempts to reconnect take no
// time, and a registration waits for its reply as long as it takes.
#pragma once

#include "fault/system_calls/faults.h"

// From now on the `nth` call that `fault` is about goes wrong, counted over all that the client makes.
void planFault(const Fault &fault, int nth);
bool faultHasFallen();

// Whether this thread's calls are the client's.
void watchThisThread(bool watched);

// Calls the library.
template <class Call>
auto inLibrary(Call call) {
  watchThisThread(true);
  const auto result = call();
  watchThisThread(false);
  return result;
}

// How often the message thread has called poll, and whether it is in there now.
struct PollState {
  int calls;
  bool inside;
};
PollState pollState();

// Whether a registration has begun to wait for its reply since the last time that this was forgotten.
bool replyIsAwaited();
void forgetAwaitedReply();

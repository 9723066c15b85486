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

// From now on the client ends, on this thread. Where it cannot wait for the message thread it goes on beside it, as it
// is meant to; here the message thread ends first all the same, lest its last steps be taken for a race.
void watchTheExit();

// How many message threads there are.
int clientThreads();

// How often the message thread has called poll, and whether it is in there now.
struct PollState {
  int calls;
  bool inside;
};
PollState pollState();

// Whether a registration has begun to wait for its reply since the last time that this was forgotten.
bool replyIsAwaited();
void forgetAwaitedReply();

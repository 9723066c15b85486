// What a child program does late in its exit: static objects of the library are gone, or about to go, by then.
//
//   afterTheManager = [] { say("the client has ended"); };
#pragma once

#include <unistd.h>

#include <cstring>

// When announcing and opening has come to its end, but the event manager still runs.
extern void (*beforeTheManagerEnds)();
// When the event manager has ended, as the last of the library.
extern void (*afterTheManager)();

// Streams are gone by then.
inline void say(const char *text) {
  if (write(STDOUT_FILENO, text, std::strlen(text)) < 0) _exit(99);
}
